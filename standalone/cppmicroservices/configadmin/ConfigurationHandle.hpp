// What a client holds of a configuration.
#ifndef CPPMICROSERVICES_CONFIGADMIN_CONFIGURATIONHANDLE_HPP
#define CPPMICROSERVICES_CONFIGADMIN_CONFIGURATIONHANDLE_HPP

#include "ConfigurationStore.hpp"

#include <cppmicroservices/cm/Configuration.hpp>

#include <memory>

namespace agent::configurationadmin {

class ConfigurationHandle final : public cppmicroservices::service::cm::Configuration {
public:
    ConfigurationHandle(std::shared_ptr<ConfigurationStore> store, std::shared_ptr<SerialQueues> queues,
                        std::shared_ptr<Record> record);

    std::string GetPid() const override;
    std::string GetFactoryPid() const override;
    cppmicroservices::AnyMap GetProperties() const override;
    unsigned long GetChangeCount() const override;
    unsigned long GetInstanceCount() override;

    std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture>
    SafeUpdate(cppmicroservices::AnyMap properties) override;
    std::shared_future<void> Update(cppmicroservices::AnyMap properties) override;
    std::pair<bool, std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture>>
    SafeUpdateIfDifferent(cppmicroservices::AnyMap properties) override;
    std::pair<bool, std::shared_future<void>> UpdateIfDifferent(cppmicroservices::AnyMap properties) override;
    std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture> SafeRemove() override;
    std::shared_future<void> Remove() override;

private:
    std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture> safe(std::shared_future<void> result) const;

    std::shared_ptr<ConfigurationStore> const store_;
    std::shared_ptr<SerialQueues> const queues_;
    std::shared_ptr<Record> const record_;
};

} // namespace agent::configurationadmin

#endif
