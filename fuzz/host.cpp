// A host without a framework and without a log: the library's own behaviour is all that is fuzzed.
#include "agent/host/DiagnosticLogger.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/Path.hpp"

namespace agent::host {

std::shared_ptr<cppmicroservices::Framework> getFramework() {
    return nullptr;
}

std::vector<cppmicroservices::Bundle> installAndStart(Path const&) {
    return {};
}

std::pair<std::vector<cppmicroservices::Bundle>, std::vector<cppmicroservices::Bundle>>
installAndStart(Path const&, cppmicroservices::LDAPFilter const&) {
    return {};
}

Path::Path(std::u16string text)
    : text_(std::move(text)) {}

Path& Path::operator/=(std::u16string_view component) {
    text_ += component;
    return *this;
}

bool Path::empty() const noexcept {
    return text_.empty();
}

std::u16string const& Path::text() const noexcept {
    return text_;
}

DiagnosticLogger::DiagnosticLogger(std::string channel)
    : source_(boost::log::keywords::channel = channel) {}

DiagnosticLogger::~DiagnosticLogger() = default;

std::uint32_t DiagnosticLogger::enabledSeverities() const noexcept {
    return 0;
}

DiagnosticLogger::Source& DiagnosticLogger::source() noexcept {
    return source_;
}

} // namespace agent::host
