// Reading, comparing and writing of bundle versions.
#include "cppmicroservices/BundleVersion.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace cppmicroservices {

namespace {

constexpr char separator = '.';

// "1.2." has the two components "1" and "2": a separator at the end starts no further component.
std::vector<std::string> componentsOf(std::string const& version) {
    std::vector<std::string> components;
    std::istringstream stream(version);
    for (std::string component; std::getline(stream, component, separator);) {
        components.push_back(component);
    }
    return components;
}

// Stream extraction, hence lenient: signs and leading white space are taken, and what follows the number is
// ignored.
bool readNumber(std::string const& component, unsigned int& number) {
    return static_cast<bool>(std::istringstream(component) >> number);
}

std::string requireValidQualifier(std::string qualifier) {
    bool const valid = std::all_of(qualifier.begin(), qualifier.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-';
    });
    if (!valid) {
        throw std::invalid_argument("invalid qualifier: " + qualifier);
    }
    return qualifier;
}

int compareNumbers(unsigned int left, unsigned int right) {
    return left < right ? -1 : (right < left ? 1 : 0);
}

} // namespace

BundleVersion BundleVersion::EmptyVersion() {
    return BundleVersion(false);
}

BundleVersion BundleVersion::UndefinedVersion() {
    return BundleVersion(true);
}

BundleVersion::BundleVersion(bool undefined)
    : undefined_(undefined) {}

BundleVersion::BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion)
    : major_(majorVersion)
    , minor_(minorVersion)
    , micro_(microVersion) {}

BundleVersion::BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion,
                             std::string qualifier)
    : major_(majorVersion)
    , minor_(minorVersion)
    , micro_(microVersion)
    , qualifier_(requireValidQualifier(std::move(qualifier))) {}

BundleVersion::BundleVersion(std::string const& version)
    : undefined_(version.empty()) {
    auto const components = componentsOf(version);
    if (components.size() > 4) {
        throw std::invalid_argument("invalid format");
    }
    bool lastIsNumber = true; // the ones before it need not be
    std::size_t index = 0;
    for (auto* const number : {&major_, &minor_, &micro_}) {
        if (index < components.size()) {
            lastIsNumber = readNumber(components[index++], *number);
        }
    }
    if (!lastIsNumber) {
        throw std::invalid_argument("invalid format");
    }
    if (components.size() == 4) {
        qualifier_ = requireValidQualifier(components[3]);
    }
}

BundleVersion::BundleVersion(BundleVersion const& version) = default;

BundleVersion BundleVersion::ParseVersion(std::string const& version) {
    auto const first = version.find_first_not_of(' ');
    if (first == std::string::npos) {
        return EmptyVersion();
    }
    auto const last = version.find_last_not_of(' ');
    return BundleVersion(version.substr(first, last - first + 1));
}

bool BundleVersion::IsUndefined() const {
    return undefined_;
}

void BundleVersion::requireDefined() const {
    if (undefined_) {
        throw std::logic_error("Version undefined");
    }
}

unsigned int BundleVersion::GetMajor() const {
    requireDefined();
    return major_;
}

unsigned int BundleVersion::GetMinor() const {
    requireDefined();
    return minor_;
}

unsigned int BundleVersion::GetMicro() const {
    requireDefined();
    return micro_;
}

std::string BundleVersion::GetQualifier() const {
    requireDefined();
    return qualifier_;
}

std::string BundleVersion::ToString() const {
    if (undefined_) {
        return "undefined";
    }
    std::string text =
        std::to_string(major_) + separator + std::to_string(minor_) + separator + std::to_string(micro_);
    return qualifier_.empty() ? text : text + separator + qualifier_;
}

bool BundleVersion::operator==(BundleVersion const& object) const {
    if (object.undefined_) {
        return undefined_;
    }
    requireDefined();
    return Compare(object) == 0;
}

int BundleVersion::Compare(BundleVersion const& object) const {
    if (undefined_ || object.undefined_) {
        throw std::logic_error("Cannot compare undefined version");
    }
    for (int const order : {compareNumbers(major_, object.major_), compareNumbers(minor_, object.minor_),
                            compareNumbers(micro_, object.micro_)}) {
        if (order != 0) {
            return order;
        }
    }
    return qualifier_.compare(object.qualifier_);
}

std::ostream& operator<<(std::ostream& os, BundleVersion const& v) {
    return os << v.ToString();
}

} // namespace cppmicroservices
