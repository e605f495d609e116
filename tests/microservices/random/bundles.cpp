// The manifests, and what bundles and contexts say.
#include "bundles.hpp"

#include "transcript.hpp"

#include <cppmicroservices/Constants.h>

#include <boost/algorithm/string/replace.hpp>

#include <dlfcn.h>
#include <filesystem>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace randomised {

using namespace cppmicroservices;

namespace {

bool isSystemBundle(Bundle const& bundle) {
    return bundle && bundle.GetBundleId() == 0;
}

AnyMap randomHeaders(Random& random, std::string const& name) {
    static constexpr char const* versions[] = {"1", "1.2.3", "1.2.3.q", "1.2.3.q.r", "x", "-1", " 1", "", ""};
    AnyMap headers(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    if (random.percent(90)) {
        headers[Constants::BUNDLE_SYMBOLICNAME] = random.percent(90)   ? Any(name)
                                                  : random.percent(50) ? Any(5)
                                                  : random.percent(50) ? Any(std::string())
                                                                       : Any();
    }
    if (random.percent(70)) {
        headers[Constants::BUNDLE_VERSION] = random.percent(90)   ? Any(std::string(random.oneOf(versions)))
                                             : random.percent(50) ? Any(1)
                                                                  : Any();
    }
    if (random.percent(50)) {
        headers[Constants::BUNDLE_ACTIVATOR] =
            random.percent(80) ? Any(random.percent(50)) : Any(std::string("true"));
    }
    if (random.percent(50)) {
        headers["Own"] = std::string("%own");
    }
    return headers;
}

} // namespace

std::string withoutDirectory(std::string text) {
    // Behind what the loader says, the installed provider appends whatever errno has been left at.
    constexpr std::string_view lastWords = "file too short";
    if (auto const place = text.find(lastWords); place != std::string::npos) {
        text.erase(place + lastWords.size());
    }
    boost::algorithm::replace_all(text, SPF_TEST_BUNDLE_DIRECTORY, "DIRECTORY");
    boost::algorithm::replace_all(text, storageDirectory(), "STORAGE");
    return text;
}

std::string storageDirectory() {
    static auto const directory =
        (std::filesystem::temp_directory_path() / ("spf-random-" + std::to_string(getpid()))).string();
    return directory;
}

std::string withoutReason(std::string const& text) {
    bool const isOfFile = text.find(" is no bundle: ") != std::string::npos ||
                          text.find("Could not init zip archive") != std::string::npos;
    return isOfFile ? "no bundle" : text;
}

std::string randomLocation(Random& random) {
    static constexpr char const* names[] = {
        "test_scripted_one",      "test_scripted_two",  "test_scripted_three", "test_scripted_one",
        "test_scripted_two",      "test_recorder",      "test_no_activator",   "test_throws_on_start",
        "test_throws_on_stop",    "test_manifest_only", "test_recorder",       "test_no_bundle",
        "test_registers_service", "test_missing",       "test_corrupt",        "./test_recorder"};
    return random.percent(3) ? "" : std::string(SPF_TEST_BUNDLE_DIRECTORY "/") + random.oneOf(names) + ".so";
}

AnyMap randomManifests(Random& random) {
    AnyMap manifests(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    if (random.percent(75)) {
        return manifests;
    }
    static constexpr char const* names[] = {"test_given", "test_given", "test_given",        "test_other",
                                            "Test_Third", "",           "test_scripted_one", "test_recorder"};
    for (auto count = random.below(5); count > 0; --count) {
        std::string const name = random.oneOf(names);
        // Rarely without headers, which stands for those in the file.
        auto const headers = random.percent(85)
                                 ? randomHeaders(random, random.percent(90) ? name : "test_another")
                                 : AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
        manifests[name] = random.percent(95)   ? Any(headers)
                          : random.percent(50) ? Any(std::string("none"))
                                               : Any();
    }
    return manifests;
}

std::string nameOf(Bundle const& bundle) {
    return bundle ? bundle.GetSymbolicName() + "#" + std::to_string(bundle.GetBundleId()) : "no bundle";
}

std::string namesOf(std::vector<Bundle> const& bundles) {
    std::string names;
    for (auto const& bundle : bundles) {
        names += " " + nameOf(bundle);
    }
    return names;
}

std::string describeBundle(Bundle const& bundle) {
    bool const isFramework = isSystemBundle(bundle); // whose version and headers are the provider's
    std::unique_ptr<void, int (*)(void*)> const program(dlopen(nullptr, RTLD_LAZY), dlclose);
    std::string text = bundle ? "valid " : "invalid ";
    text += outcome([&] { return streamed(bundle.GetState()); });
    text += outcome([&] { return std::to_string(bundle.GetBundleId()); });
    text += outcome([&] { return bundle.GetLocation(); });
    text += outcome([&] { return bundle.GetSymbolicName(); });
    text += outcome([&] { return isFramework ? "" : bundle.GetVersion().ToString(); });
    text += outcome([&] { return isFramework ? "" : textOf(bundle.GetHeaders()); });
    text += outcome([&] { return textOf(bundle.GetHeaders().count("BUNDLE.symbolic_NAME") > 0); });
    text += outcome([&] { return textOf(static_cast<bool>(bundle.GetBundleContext())); });
    text += outcome([&] { return streamed(bundle); });
    auto const findSymbol = [&](void* handle, char const* symbol) {
        text += outcome([&] { return textOf(bundle.GetSymbol(handle, symbol) != nullptr); });
    };
    findSymbol(nullptr, "printf");
    findSymbol(program.get(), "");
    findSymbol(program.get(), "printf");
    findSymbol(program.get(), "no such symbol");
    return withoutDirectory(text);
}

std::string describeEvent(FrameworkEvent const& event) {
    auto const error =
        event.GetThrowable() ? outcome([&] { rethrow_exception(event.GetThrowable()); }) : "nothing";
    return withoutDirectory(streamed(event.GetType()) + " of " + nameOf(event.GetBundle()) + " " +
                            inQuotes(event.GetMessage()) + " " + error);
}

} // namespace randomised
