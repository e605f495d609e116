// The recording ConfigurationAdmin and its configurations.
#include "support/RecordingConfigurationAdmin.hpp"

#include "support/CallLog.hpp"

// The first releases of the interface have neither this class nor the operations below that return it.
namespace cppmicroservices {
class ThreadpoolSafeFuture;
}

namespace agent::spf::frameworksetup::test {

using cppmicroservices::AnyMap;

class RecordingConfigurationAdmin::RecordingConfiguration
    : public cppmicroservices::service::cm::Configuration {
public:
    RecordingConfiguration(std::shared_ptr<RecordingConfigurationAdmin> admin, std::string pid)
        : admin_(std::move(admin))
        , pid_(std::move(pid)) {}

    std::string GetPid() const {
        admin_->record("GetPid " + pid_);
        return pid_;
    }

    std::shared_future<void> Update(AnyMap properties) {
        {
            std::lock_guard<std::mutex> const lock(admin_->mutex_);
            admin_->updates_.push_back({pid_, std::move(properties)});
        }
        admin_->record("Update " + pid_);
        return admin_->neverReady();
    }

    std::shared_future<void> Remove() {
        admin_->record("Remove " + pid_);
        return admin_->neverReady();
    }

    // What follows is not the library's to use; a test that compares calls fails when it does.

    std::string GetFactoryPid() const {
        admin_->record("GetFactoryPid " + pid_);
        return {};
    }

    AnyMap GetProperties() const {
        admin_->record("GetProperties " + pid_);
        return {};
    }

    unsigned long GetChangeCount() const {
        admin_->record("GetChangeCount " + pid_);
        return 0;
    }

    unsigned long GetInstanceCount() {
        admin_->record("GetInstanceCount " + pid_);
        return 0;
    }

    std::pair<bool, std::shared_future<void>> UpdateIfDifferent(AnyMap) {
        admin_->record("UpdateIfDifferent " + pid_);
        return {false, {}};
    }

    std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture> SafeUpdate(AnyMap) {
        admin_->record("SafeUpdate " + pid_);
        return nullptr;
    }

    std::pair<bool, std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture>> SafeUpdateIfDifferent(AnyMap) {
        admin_->record("SafeUpdateIfDifferent " + pid_);
        return {false, nullptr};
    }

    std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture> SafeRemove() {
        admin_->record("SafeRemove " + pid_);
        return nullptr;
    }

private:
    std::shared_ptr<RecordingConfigurationAdmin> admin_;
    std::string pid_;
};

void RecordingConfigurationAdmin::setPIDToGenerate(std::string pid) {
    std::lock_guard<std::mutex> const lock(mutex_);
    pidToGenerate_ = std::move(pid);
}

std::vector<RecordingConfigurationAdmin::Update> RecordingConfigurationAdmin::updates() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return updates_;
}

std::vector<std::string> RecordingConfigurationAdmin::calls() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return calls_;
}

void RecordingConfigurationAdmin::forgetCalls() {
    std::lock_guard<std::mutex> const lock(mutex_);
    calls_.clear();
}

void RecordingConfigurationAdmin::record(std::string const& call) {
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        calls_.push_back(call);
    }
    callLog().record(call);
}

std::shared_ptr<RecordingConfigurationAdmin::Configuration>
RecordingConfigurationAdmin::GetConfiguration(std::string const& pid) {
    record("GetConfiguration " + pid);
    return std::make_shared<RecordingConfiguration>(shared_from_this(), pid);
}

std::shared_ptr<RecordingConfigurationAdmin::Configuration>
RecordingConfigurationAdmin::CreateFactoryConfiguration(std::string const& factoryPid) {
    record("CreateFactoryConfiguration " + factoryPid);
    std::lock_guard<std::mutex> const lock(mutex_);
    return std::make_shared<RecordingConfiguration>(shared_from_this(), pidToGenerate_);
}

std::shared_ptr<RecordingConfigurationAdmin::Configuration>
RecordingConfigurationAdmin::GetFactoryConfiguration(std::string const& factoryPid,
                                                     std::string const& instanceName) {
    record("GetFactoryConfiguration " + factoryPid + " " + instanceName);
    return std::make_shared<RecordingConfiguration>(shared_from_this(), factoryPid + "~" + instanceName);
}

std::vector<std::shared_ptr<RecordingConfigurationAdmin::Configuration>>
RecordingConfigurationAdmin::ListConfigurations(std::string const& filter) {
    record("ListConfigurations " + filter);
    return {};
}

std::shared_future<void> RecordingConfigurationAdmin::neverReady() {
    std::lock_guard<std::mutex> const lock(mutex_);
    promises_.emplace_back();
    return promises_.back().get_future().share();
}

} // namespace agent::spf::frameworksetup::test
