// Writing, locking, reading and removing the files of announcements.
#include "agent/spf/bundles/discovery/Announcement.hpp"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/json/JsonReader.hpp"
#include "agent/spf/bundles/json/JsonWriter.hpp"

namespace agent::spf::bundles::discovery {

namespace {

namespace fs = std::filesystem;

constexpr char const* nameKey = "name";
constexpr char const* endpointKey = "endpoint";
constexpr std::size_t maximumSize = 65536;                 // bytes of a file
constexpr char const* unfinishedExtension = ".unfinished"; // after that of an announcement
constexpr char const* lockExtension = ".lock";             // after that of a socket that is just being made

[[noreturn]] void throwSystemError() {
    throw std::system_error(errno, std::system_category());
}

// To be called when something could not be opened. Whoever reads then must not take it for missing.
void throwIfThereIsNoRoomToOpen() {
    if (errno == EMFILE || errno == ENFILE || errno == ENOMEM) {
        throwSystemError();
    }
}

std::string announcementText(Announcement const& announcement) {
    auto members = makeMap();
    members[nameKey] = announcement.name;
    members[endpointKey] = announcement.endpoint;
    return json::writeJson(members);
}

void writeAll(int descriptor, std::string const& text) {
    for (std::size_t written = 0; written < text.size();) {
        auto const count = ::write(descriptor, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            throwSystemError();
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

bool isDeleted(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && status.st_nlink == 0;
}

// The file stays open for writing: when the last process that has it so closes it, by ending if not before,
// those who watch the directory are told. Whoever sees it before it is locked takes it for a dead process's,
// and removes it before the lock can be had: then it takes another one.
FileDescriptor writeLocked(fs::path const& path, std::string const& text) {
    FileDescriptor file;
    do {
        file =
            FileDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (file.get() < 0 || ::flock(file.get(), LOCK_EX) != 0) {
            throwSystemError();
        }
    } while (isDeleted(file.get()));
    writeAll(file.get(), text);
    return file;
}

// Opens a file that somebody else made: it may be anything.
FileDescriptor openRegularFile(fs::path const& path) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (file.get() < 0) {
        throwIfThereIsNoRoomToOpen();
    } else if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return FileDescriptor();
    }
    return file;
}

// The beginning of a file, maximumSize at most; as much of it as was there when this began.
std::string readBeginning(int descriptor) {
    struct stat status {};
    ::fstat(descriptor, &status);
    std::string text(std::min(static_cast<std::size_t>(status.st_size), maximumSize), '\0');
    std::size_t got = 0;
    while (got < text.size()) {
        auto const count = ::read(descriptor, text.data() + got, text.size() - got);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            break;
        }
        got += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    text.resize(got);
    return text;
}

enum class Announcer { Living, Dead, Unknown };

// Of the announcement in a file. Where files cannot be locked nobody knows; nor when the file was deleted
// after it was opened, since its announcer may just have written another in its place.
Announcer announcerOf(int descriptor) {
    if (::flock(descriptor, LOCK_SH | LOCK_NB) == 0) {
        return isDeleted(descriptor) ? Announcer::Unknown : Announcer::Dead;
    }
    return errno == EWOULDBLOCK ? Announcer::Living : Announcer::Unknown;
}

bool isUnfinished(fs::path const& file) {
    return file.extension() == unfinishedExtension;
}

// Finished ones and others. Reads the directory itself: the standard library's iterator ends the process when
// it runs out of memory.
std::vector<fs::path> announcementFiles(fs::path const& directory) {
    std::vector<fs::path> files;
    std::unique_ptr<DIR, int (*)(DIR*)> const entries(::opendir(directory.c_str()), &::closedir);
    if (!entries) {
        throwIfThereIsNoRoomToOpen();
        return files;
    }
    while (auto const* const entry = ::readdir(entries.get())) {
        fs::path const name(entry->d_name);
        if ((isUnfinished(name) ? name.stem() : name).extension() == announcementExtension) {
            files.push_back(directory / name);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Removes what a dead process has left: its announcement, and the socket with its lock if that is in the same
// directory, where each path is used once.
void removeDead(fs::path const& file, Announcement const& announcement) {
    auto const prefix = "unix:" + file.parent_path().string() + "/";
    auto const isOwnSocket = announcement.endpoint.compare(0, prefix.size(), prefix) == 0;
    auto const socket = isOwnSocket ? announcement.endpoint.substr(prefix.size()) : std::string();
    if (fs::path(socket).extension() == socketExtension && socket.find('/') == std::string::npos) {
        ::unlink((file.parent_path() / socket).c_str());
        ::unlink((file.parent_path() / (socket + lockExtension)).c_str());
    }
    ::unlink(file.c_str());
}

} // namespace

AnnouncementFile::AnnouncementFile(fs::path path, Announcement const& announcement)
    : path_(std::move(path))
    , text_(announcementText(announcement))
    , descriptor_(write()) {}

AnnouncementFile::~AnnouncementFile() {
    withdraw();
}

void AnnouncementFile::restore() {
    std::lock_guard const lock(mutex_);
    if (descriptor_.get() >= 0 && isDeleted(descriptor_.get())) {
        descriptor_ = write();
    }
}

void AnnouncementFile::withdraw() noexcept {
    std::lock_guard const lock(mutex_);
    if (descriptor_.get() >= 0) {
        ::unlink(path_.c_str());
        descriptor_ = FileDescriptor();
    }
}

FileDescriptor AnnouncementFile::write() const {
    auto unfinished = path_;
    unfinished += unfinishedExtension;
    try {
        auto file = writeLocked(unfinished, text_);
        fs::rename(unfinished, path_);
        return file;
    } catch (std::exception const& error) {
        ::unlink(unfinished.c_str());
        throw std::runtime_error("announcement " + path_.string() + ": " + error.what());
    }
}

std::optional<Announcement> parseAnnouncement(std::string_view text) {
    try {
        auto const members = json::readJson(text);
        return Announcement{stringAt(members, nameKey, {}), stringAt(members, endpointKey, {})};
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const&) {
        return std::nullopt;
    }
}

std::vector<Announcement> readAnnouncements(fs::path const& directory) {
    std::vector<Announcement> announcements;
    for (auto const& path : announcementFiles(directory)) {
        auto const file = openRegularFile(path);
        if (file.get() < 0) {
            continue;
        }
        auto announcement = parseAnnouncement(readBeginning(file.get()));
        if (!announcement && !isUnfinished(path)) {
            continue;
        }
        auto const announcer = announcerOf(file.get());
        if (announcer == Announcer::Dead) {
            removeDead(path, announcement.value_or(Announcement()));
        } else if (announcer == Announcer::Living && !isUnfinished(path)) {
            announcements.push_back(*std::move(announcement));
        }
    }
    return announcements;
}

std::string escapeForFileName(std::string const& text) {
    constexpr char const* digits = "0123456789ABCDEF";
    std::string escaped;
    for (char const character : text) {
        auto const byte = static_cast<unsigned char>(character);
        auto const isAlphanumeric =
            (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
        if (isAlphanumeric || byte == '-' || byte == '_') {
            escaped += character;
        } else {
            escaped += {'%', digits[byte >> 4], digits[byte & 15]};
        }
    }
    return escaped;
}

} // namespace agent::spf::bundles::discovery
