// Version of a bundle: major.minor.micro.qualifier.
#ifndef CPPMICROSERVICES_BUNDLEVERSION_H
#define CPPMICROSERVICES_BUNDLEVERSION_H

#include "cppmicroservices/FrameworkExport.h"

#include <iosfwd>
#include <string>

namespace cppmicroservices {

// An immutable version: three numbers and a qualifier of letters, digits, '_' and '-'. A version may also be
// undefined; then its components cannot be read.
class US_Framework_EXPORT BundleVersion {
public:
    // "0.0.0".
    static BundleVersion EmptyVersion();

    // A version that stands for none.
    static BundleVersion UndefinedVersion();

    BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion);

    // \throws std::invalid_argument if the qualifier holds another character than those named above.
    BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion,
                  std::string qualifier);

    // Reads "major[.minor[.micro[.qualifier]]]"; missing numbers are 0. The empty string gives the undefined
    // version.
    // \throws std::invalid_argument if the last number is none that fits, or the qualifier is invalid.
    BundleVersion(std::string const& version);

    BundleVersion(BundleVersion const& version);
    BundleVersion& operator=(BundleVersion const& version) = delete;

    // As the constructor, but white space around the text is ignored, and blank text gives the empty
    // version.
    static BundleVersion ParseVersion(std::string const& version);

    bool IsUndefined() const;

    // \throws std::logic_error, as do the three below, if the version is undefined.
    unsigned int GetMajor() const;
    unsigned int GetMinor() const;
    unsigned int GetMicro() const;
    std::string GetQualifier() const;

    // "major.minor.micro", then "." and the qualifier unless that is empty; "undefined" for the undefined
    // version.
    std::string ToString() const;

    // Two undefined versions are equal.
    // \throws std::logic_error if this version alone is undefined.
    bool operator==(BundleVersion const& object) const;

    // Negative, zero or positive as this version is lower than, equal to or higher than `object`. Qualifiers
    // compare as text.
    // \throws std::logic_error if either version is undefined.
    int Compare(BundleVersion const& object) const;

private:
    explicit BundleVersion(bool undefined);

    void requireDefined() const;

    unsigned int major_ = 0;
    unsigned int minor_ = 0;
    unsigned int micro_ = 0;
    std::string qualifier_;
    bool undefined_ = false;
};

// Writes ToString().
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, BundleVersion const& v);

} // namespace cppmicroservices

#endif
