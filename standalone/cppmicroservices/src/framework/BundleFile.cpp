// Reads the manifest out of a bundle's file, without loading it.
#include "BundleFile.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

// The header of the library that this code is in, as the linker calls it.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is the linker's
extern "C" __attribute__((visibility("hidden"))) ElfW(Ehdr) const __ehdr_start;

namespace cppmicroservices::detail {

namespace {

// The section that the build functions put a manifest into.
constexpr std::string_view manifestSection = "cppmicroservices_manifest";

using FileHeader = ElfW(Ehdr); // of this machine's programs: of 32 or of 64 bits
using SectionHeader = ElfW(Shdr);

// The bytes [offset, offset + size) of the image.
std::string_view slice(std::string_view image, std::uint64_t offset, std::uint64_t size, char const* what) {
    if (offset > image.size() || size > image.size() - offset) {
        throw std::runtime_error(std::string("it is truncated: ") + what + " lies outside the file");
    }
    return image.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(size));
}

template <class Header>
Header readHeader(std::string_view image, std::uint64_t offset, char const* what) {
    Header header;
    std::memcpy(&header, slice(image, offset, sizeof(Header), what).data(), sizeof(Header));
    return header;
}

FileHeader readElfHeader(std::string_view image) {
    if (image.substr(0, SELFMAG) != std::string_view(ELFMAG, SELFMAG)) {
        throw std::runtime_error("it is neither a shared library nor a program");
    }
    auto const header = readHeader<FileHeader>(image, 0, "the ELF header");
    auto const& own = __ehdr_start;
    if (header.e_ident[EI_CLASS] != own.e_ident[EI_CLASS] ||
        header.e_ident[EI_DATA] != own.e_ident[EI_DATA] || header.e_machine != own.e_machine) {
        throw std::runtime_error("it is built for another kind of machine");
    }
    return header;
}

// The index is 0, or below a count of headers that fit into the image.
SectionHeader readSectionHeader(std::string_view image, FileHeader const& header, std::uint64_t index) {
    return readHeader<SectionHeader>(image, header.e_shoff + index * header.e_shentsize, "a section header");
}

// Files with very many sections keep the two numbers in the first section header.
std::uint64_t sectionCount(std::string_view image, FileHeader const& header) {
    return header.e_shnum != 0 ? header.e_shnum : readSectionHeader(image, header, 0).sh_size;
}

std::uint64_t nameTableIndex(std::string_view image, FileHeader const& header) {
    return header.e_shstrndx != SHN_XINDEX ? header.e_shstrndx : readSectionHeader(image, header, 0).sh_link;
}

std::string_view sectionName(std::string_view names, std::uint64_t offset) {
    auto const rest =
        slice(names, offset, names.size() - std::min<std::uint64_t>(offset, names.size()), "a name");
    return rest.substr(0, rest.find('\0'));
}

// A file mapped for reading.
class MappedFile {
public:
    explicit MappedFile(std::string const& path) {
        int const file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (file < 0) {
            throw std::runtime_error(systemError());
        }
        auto const problem = map(file);
        close(file);
        if (!problem.empty()) {
            throw std::runtime_error(problem);
        }
    }
    MappedFile(MappedFile const&) = delete;
    MappedFile& operator=(MappedFile const&) = delete;
    ~MappedFile() {
        if (size_ > 0) {
            munmap(data_, size_);
        }
    }

    std::string_view text() const { return {static_cast<char const*>(data_), size_}; }

private:
    static std::string systemError() { return std::generic_category().message(errno); }

    // What is wrong with the file; empty if it is mapped.
    std::string map(int file) {
        struct stat status {};
        if (fstat(file, &status) != 0) {
            return systemError();
        }
        if (!S_ISREG(status.st_mode)) {
            return "it is no regular file";
        }
        size_ = static_cast<std::size_t>(status.st_size);
        if (size_ > 0) {
            data_ = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file, 0);
        }
        return data_ == MAP_FAILED ? systemError() : std::string();
    }

    void* data_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace

std::optional<std::string_view> findElfSection(std::string_view image, std::string_view name) {
    auto const header = readElfHeader(image);
    if (header.e_shoff == 0) {
        return std::nullopt;
    }
    if (header.e_shentsize < sizeof(SectionHeader)) {
        throw std::runtime_error("its section headers are too small");
    }
    auto const count = sectionCount(image, header);
    if (count > (image.size() - std::min<std::uint64_t>(header.e_shoff, image.size())) / header.e_shentsize) {
        throw std::runtime_error("it is truncated: the section headers lie outside the file");
    }
    if (nameTableIndex(image, header) >= count) {
        throw std::runtime_error("it has no section names");
    }
    auto const namesHeader = readSectionHeader(image, header, nameTableIndex(image, header));
    auto const names = slice(image, namesHeader.sh_offset, namesHeader.sh_size, "the section names");
    for (std::uint64_t index = 0; index < count; ++index) {
        auto const section = readSectionHeader(image, header, index);
        if (section.sh_type == SHT_PROGBITS && sectionName(names, section.sh_name) == name) {
            return slice(image, section.sh_offset, section.sh_size, "the manifest");
        }
    }
    return std::nullopt;
}

std::optional<std::string> readManifestText(std::string const& path) {
    try {
        MappedFile const file(path);
        auto const section = findElfSection(file.text(), manifestSection);
        return section ? std::optional<std::string>(*section) : std::nullopt;
    } catch (std::runtime_error const& error) {
        throw std::runtime_error(path + " is no bundle: " + error.what());
    }
}

} // namespace cppmicroservices::detail
