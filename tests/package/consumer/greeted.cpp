// Installs and starts the greeter bundle and lets its service greet.
// usage: greeted BUNDLE
#include <chrono>
#include <exception>
#include <iostream>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceReference.h>

#include "Greeter.hpp"

int main(int argc, char* argv[]) try {
    if (argc != 2) {
        std::cerr << "usage: greeted BUNDLE\n";
        return 2;
    }
    auto framework = cppmicroservices::FrameworkFactory().NewFramework();
    framework.Start();
    auto context = framework.GetBundleContext();
    for (auto& bundle : context.InstallBundles(argv[1])) {
        bundle.Start();
    }
    std::cout << context.GetService(context.GetServiceReference<consumer::Greeter>())->greet("stranger")
              << '\n';
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
    return 0;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
