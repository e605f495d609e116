// Reading a bundle's manifest out of its ELF file: every malformed file is refused, none is read beyond its
// end.
#include "BundleFile.hpp"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <elf.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <link.h>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

using cppmicroservices::detail::findElfSection;
using cppmicroservices::detail::readManifestText;
using testing::HasSubstr;

namespace {

constexpr char const* sectionName = "cppmicroservices_manifest";

using FileHeader = ElfW(Ehdr);
using SectionHeader = ElfW(Shdr);

constexpr unsigned char otherClass = sizeof(void*) == 8 ? ELFCLASS32 : ELFCLASS64;
constexpr auto largest = std::numeric_limits<ElfW(Off)>::max();

// Of this program.
FileHeader nativeHeader() {
    FileHeader header{};
    std::ifstream program("/proc/self/exe", std::ios::binary);
    program.read(reinterpret_cast<char*>(&header), sizeof(header));
    EXPECT_TRUE(program);
    return header;
}

// An ELF image with the sections "", the names, and `name` with `contents`, in this order.
std::string makeImage(std::string const& name, std::string const& contents) {
    std::string const names = std::string(1, '\0') + ".shstrtab" + '\0' + name + '\0';
    FileHeader header = nativeHeader();
    header.e_shentsize = sizeof(SectionHeader);
    header.e_shnum = 3;
    header.e_shstrndx = 1;
    header.e_shoff = sizeof(header) + names.size() + contents.size();
    SectionHeader sections[3]{};
    sections[1].sh_name = 1;
    sections[1].sh_type = SHT_STRTAB;
    sections[1].sh_offset = sizeof(header);
    sections[1].sh_size = names.size();
    sections[2].sh_name = 11;
    sections[2].sh_type = SHT_PROGBITS;
    sections[2].sh_offset = sizeof(header) + names.size();
    sections[2].sh_size = contents.size();
    return std::string(reinterpret_cast<char const*>(&header), sizeof(header)) + names + contents +
           std::string(reinterpret_cast<char const*>(sections), sizeof(sections));
}

// The image copied to the end of a block, so that the address sanitizer sees every read beyond it.
std::optional<std::string> findIn(std::string const& image) {
    std::vector<char> const bytes(image.begin(), image.end());
    auto const found = findElfSection({bytes.data(), bytes.size()}, sectionName);
    return found ? std::optional<std::string>(*found) : std::nullopt;
}

template <class Header>
std::string with(std::string image, std::size_t offset, void (*change)(Header&)) {
    Header header;
    std::memcpy(&header, image.data() + offset, sizeof(header));
    change(header);
    std::memcpy(image.data() + offset, &header, sizeof(header));
    return image;
}

std::string withHeader(void (*change)(FileHeader&)) {
    return with<FileHeader>(makeImage(sectionName, "{}"), 0, change);
}

std::string withSection(std::size_t index, void (*change)(SectionHeader&)) {
    auto const image = makeImage(sectionName, "{}");
    return with<SectionHeader>(image, image.size() - (3 - index) * sizeof(SectionHeader), change);
}

std::string refusal(std::string const& image) {
    try {
        findIn(image);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "accepted";
}

std::string messageOfRead(std::string const& path) {
    try {
        readManifestText(path);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "accepted";
}

// A file with these bytes.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string const& bytes) { std::ofstream(path_, std::ios::binary) << bytes; }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;
    ~TemporaryFile() { std::filesystem::remove(path_); }
    std::string const& path() const { return path_; }

private:
    std::string const path_ =
        (std::filesystem::temp_directory_path() / ("spf-bundle-file-test-" + std::to_string(getpid())))
            .string();
};

// What a framework says of the image after its path.
std::string refusalByFramework(std::string const& image) {
    TemporaryFile const file(image);
    auto framework = cppmicroservices::FrameworkFactory().NewFramework();
    framework.Start();
    std::string message = "accepted";
    try {
        framework.GetBundleContext().InstallBundles(file.path());
    } catch (std::runtime_error const& error) {
        message = error.what();
        EXPECT_THAT(message, testing::StartsWith(file.path()));
        message.erase(0, file.path().size());
    }
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
    return message;
}

std::ptrdiff_t openFiles() {
    std::filesystem::directory_iterator const files("/proc/self/fd");
    return std::distance(begin(files), end(files));
}

std::string mappedFiles() {
    std::ifstream maps("/proc/self/maps");
    return {std::istreambuf_iterator<char>(maps), {}};
}

} // namespace

TEST(ElfSection, IsFoundByItsName) {
    EXPECT_EQ(findIn(makeImage(sectionName, R"({"a": 1})")), R"({"a": 1})");
    EXPECT_EQ(findIn(makeImage(sectionName, "")), "");
    EXPECT_EQ(findIn(withSection(2,
                                 [](SectionHeader& section) {
                                     section.sh_offset = makeImage(sectionName, "{}").size();
                                     section.sh_size = 0;
                                 })),
              "");
}

TEST(ElfSection, IsFoundInAnImageWhoseNumbersAreInItsFirstSectionHeader) {
    auto const image = withSection(0, [](SectionHeader& section) {
        section.sh_size = 3;
        section.sh_link = 1;
    });
    EXPECT_EQ(findIn(with<FileHeader>(image, 0,
                                      [](FileHeader& header) {
                                          header.e_shnum = 0;
                                          header.e_shstrndx = SHN_XINDEX;
                                      })),
              "{}");
}

TEST(ElfSection, ImageWithoutItHasNone) {
    EXPECT_EQ(findIn(makeImage("another", "{}")), std::nullopt);
    EXPECT_EQ(findIn(makeImage("cppmicroservices_manifest_", "{}")), std::nullopt);
    EXPECT_EQ(findIn(withHeader([](FileHeader& header) { header.e_shoff = 0; })), std::nullopt);
    EXPECT_EQ(findIn(withSection(2, [](SectionHeader& section) { section.sh_type = SHT_NOBITS; })),
              std::nullopt);
}

TEST(ElfSection, OtherFilesAreRefused) {
    EXPECT_THAT(refusal(""), HasSubstr("neither a shared library nor a program"));
    EXPECT_THAT(refusal("#!/bin/sh\n"), HasSubstr("neither a shared library nor a program"));
    EXPECT_THAT(refusal(withHeader([](FileHeader& header) { header.e_ident[EI_CLASS] = otherClass; })),
                HasSubstr("another kind of machine"));
    EXPECT_THAT(refusal(withHeader([](FileHeader& header) { header.e_ident[EI_DATA] = ELFDATA2MSB; })),
                HasSubstr("another kind of machine"));
    EXPECT_THAT(refusal(withHeader([](FileHeader& header) { header.e_machine = EM_NONE; })),
                HasSubstr("another kind of machine"));
}

TEST(ElfSection, EveryPrefixOfAnImageIsRefused) {
    auto const image = makeImage(sectionName, R"({"bundle.symbolic_name": "x"})");
    for (std::size_t length = 0; length < image.size(); ++length) {
        EXPECT_NE(refusal(image.substr(0, length)), "accepted") << length;
    }
}

TEST(ElfSection, NumbersThatPointOutsideTheFileAreRefused) {
    EXPECT_THAT(refusal(withHeader([](FileHeader& header) { header.e_shoff = largest; })),
                HasSubstr("truncated"));
    EXPECT_THAT(refusal(withHeader([](FileHeader& header) { header.e_shnum = 4; })), HasSubstr("truncated"));
    EXPECT_THAT(refusal(withHeader([](FileHeader& header) { header.e_shentsize = 1; })),
                HasSubstr("too small"));
    EXPECT_THAT(refusal(withHeader([](FileHeader& header) { header.e_shstrndx = 3; })),
                HasSubstr("no section names"));
    EXPECT_THAT(refusal(withSection(0, [](SectionHeader&) {})), HasSubstr("accepted"));
    EXPECT_THAT(refusal(withSection(1, [](SectionHeader& section) { section.sh_size = 1 << 20; })),
                HasSubstr("truncated"));
    EXPECT_THAT(refusal(withSection(2, [](SectionHeader& section) { section.sh_name = 1 << 20; })),
                HasSubstr("truncated"));
    EXPECT_THAT(refusal(withSection(2, [](SectionHeader& section) { section.sh_offset = largest; })),
                HasSubstr("truncated"));
    EXPECT_THAT(refusal(withSection(2, [](SectionHeader& section) { section.sh_size = largest; })),
                HasSubstr("truncated"));
    EXPECT_THAT(refusal(withSection(2,
                                    [](SectionHeader& section) {
                                        section.sh_size =
                                            makeImage(sectionName, "{}").size() - section.sh_offset + 1;
                                    })),
                HasSubstr("truncated"));
}

TEST(ElfSection, CountInTheFirstSectionHeaderIsCheckedToo) {
    auto image = withHeader([](FileHeader& header) { header.e_shnum = 0; });
    EXPECT_NE(refusal(image), "accepted");
    image = with<SectionHeader>(image, image.size() - 3 * sizeof(SectionHeader),
                                [](SectionHeader& section) { section.sh_size = largest; });
    EXPECT_NE(refusal(image), "accepted");
}

// The seed is constant: a failure comes back.
TEST(ElfSection, ImagesWithChangedBytesAreReadOrRefusedButNeverReadBeyondTheirEnd) {
    auto const image = makeImage(sectionName, R"({"bundle.symbolic_name": "x"})");
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        auto changed = image;
        for (int change = 0; change < 3; ++change) {
            changed[random() % changed.size()] = static_cast<char>(random());
        }
        refusal(changed);
    }
}

TEST(BundleFile, ErrorNamesPathAndReason) {
    EXPECT_EQ(messageOfRead("/nowhere/x.so"), "/nowhere/x.so is no bundle: No such file or directory");
    EXPECT_EQ(messageOfRead("/dev/null"), "/dev/null is no bundle: it is no regular file");
}

TEST(BundleFile, ThatIsEmptyIsRefused) {
    TemporaryFile const file("");
    EXPECT_EQ(messageOfRead(file.path()),
              file.path() + " is no bundle: it is neither a shared library nor a program");
}

TEST(BundleFile, IsNeitherOpenNorMappedOnceItIsRead) {
    TemporaryFile const file(makeImage(sectionName, "{}"));
    auto const before = openFiles();
    EXPECT_EQ(readManifestText(file.path()), "{}");
    EXPECT_EQ(messageOfRead("/dev/null"), "/dev/null is no bundle: it is no regular file");
    EXPECT_EQ(openFiles(), before);
    EXPECT_THAT(mappedFiles(), testing::Not(HasSubstr(file.path())));
}

TEST(BundleFile, WithoutAUsableManifestIsRefusedForTheReason) {
    EXPECT_EQ(refusalByFramework(makeImage("another", "{}")), " is no bundle: it carries no manifest");
    EXPECT_THAT(refusalByFramework(makeImage(sectionName, "{")),
                testing::StartsWith(" is no bundle: its manifest is no JSON: "));
    EXPECT_EQ(refusalByFramework(makeImage(sectionName, "{}")),
              " is no bundle: its manifest has no \"bundle.symbolic_name\"");
    EXPECT_EQ(refusalByFramework(makeImage(sectionName, R"({"bundle.symbolic_name": "x"})")), "accepted");
}
