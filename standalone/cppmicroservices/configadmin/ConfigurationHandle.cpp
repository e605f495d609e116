// What a client holds of a configuration: passes everything on to the store, by the record.
#include "ConfigurationHandle.hpp"

#include <chrono>
#include <utility>

namespace agent::configurationadmin {

using cppmicroservices::AnyMap;
using cppmicroservices::ThreadpoolSafeFuture;

namespace {

class DeliveryFuture final : public ThreadpoolSafeFuture {
public:
    DeliveryFuture(std::shared_future<void> result, std::shared_ptr<SerialQueues> queues)
        : result_(std::move(result))
        , queues_(std::move(queues)) {}

    void get() const override { wait(); } // what is delivered throws nothing

    void wait() const override { queues_->wait(result_); }

    std::future_status wait_for(std::uint32_t const& milliseconds) const override {
        return result_.wait_for(std::chrono::milliseconds{milliseconds});
    }

private:
    std::shared_future<void> result_;
    std::shared_ptr<SerialQueues> queues_;
};

} // namespace

ConfigurationHandle::ConfigurationHandle(std::shared_ptr<ConfigurationStore> store,
                                         std::shared_ptr<SerialQueues> queues, std::shared_ptr<Record> record)
    : store_(std::move(store))
    , queues_(std::move(queues))
    , record_(std::move(record)) {}

std::string ConfigurationHandle::GetPid() const {
    store_->requirePresence(*record_);
    return record_->pid;
}

std::string ConfigurationHandle::GetFactoryPid() const {
    store_->requirePresence(*record_);
    return record_->factoryPid;
}

AnyMap ConfigurationHandle::GetProperties() const {
    return *store_->properties(*record_);
}

unsigned long ConfigurationHandle::GetChangeCount() const {
    return store_->changeCount(*record_);
}

unsigned long ConfigurationHandle::GetInstanceCount() {
    return record_->instanceCount;
}

std::shared_ptr<ThreadpoolSafeFuture> ConfigurationHandle::SafeUpdate(AnyMap properties) {
    return safe(Update(std::move(properties)));
}

std::shared_future<void> ConfigurationHandle::Update(AnyMap properties) {
    return store_->update(*record_, std::move(properties));
}

std::pair<bool, std::shared_ptr<ThreadpoolSafeFuture>>
ConfigurationHandle::SafeUpdateIfDifferent(AnyMap properties) {
    auto [updated, result] = UpdateIfDifferent(std::move(properties));
    return {updated, safe(std::move(result))};
}

std::pair<bool, std::shared_future<void>> ConfigurationHandle::UpdateIfDifferent(AnyMap properties) {
    return store_->updateIfDifferent(*record_, std::move(properties));
}

std::shared_ptr<ThreadpoolSafeFuture> ConfigurationHandle::SafeRemove() {
    return safe(Remove());
}

std::shared_future<void> ConfigurationHandle::Remove() {
    return store_->remove(*record_);
}

std::shared_ptr<ThreadpoolSafeFuture> ConfigurationHandle::safe(std::shared_future<void> result) const {
    return std::make_shared<DeliveryFuture>(std::move(result), queues_);
}

} // namespace agent::configurationadmin
