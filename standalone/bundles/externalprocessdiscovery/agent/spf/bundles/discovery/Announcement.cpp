#include "agent/spf/bundles/discovery/Announcement.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

namespace agent::spf::bundles::discovery {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

constexpr char nameKey[] = "name";
constexpr char endpointKey[] = "endpoint";
constexpr char pidKey[] = "pid";
constexpr char startTimeKey[] = "startTime";

// When the process started, in clock ticks after the system did; nothing if there is no such process.
std::optional<std::uint64_t> startTimeOf(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(file)), {});
    auto const parenthesis = text.rfind(')'); // ends the program's name, which may hold anything
    if (parenthesis == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(text.substr(parenthesis + 1));
    std::string skipped;
    for (int field = 3; field < 22; ++field) { // the start time is the 22nd field, the name the second
        fields >> skipped;
    }
    std::uint64_t startTime = 0;
    if (!(fields >> startTime)) {
        return std::nullopt;
    }
    return startTime;
}

void writeAll(int descriptor, std::string const& text) {
    for (std::size_t written = 0; written < text.size();) {
        auto const count = ::write(descriptor, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            throw std::system_error(errno, std::system_category());
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

void writeFile(fs::path const& file, std::string const& text) {
    auto const descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        throw std::system_error(errno, std::system_category());
    }
    try {
        writeAll(descriptor, text);
    } catch (...) {
        ::close(descriptor);
        ::unlink(file.c_str());
        throw;
    }
    ::close(descriptor);
}

bool isAnnouncementFile(fs::path const& file) {
    return file.extension() == announcementExtension;
}

} // namespace

Announcement ownAnnouncement(std::string name, std::string endpoint) {
    return {std::move(name), std::move(endpoint), ::getpid(), startTimeOf(::getpid())};
}

bool isAlive(Announcement const& announcement) {
    if (::kill(announcement.pid, 0) != 0 && errno != EPERM) {
        return false;
    }
    return !announcement.startTime || startTimeOf(announcement.pid) == announcement.startTime;
}

void writeAnnouncement(fs::path const& file, Announcement const& announcement) {
    Json json{{nameKey, announcement.name}, {endpointKey, announcement.endpoint}, {pidKey, announcement.pid}};
    if (announcement.startTime) {
        json[startTimeKey] = *announcement.startTime;
    }
    auto unfinished = file;
    unfinished += ".unfinished";
    try {
        ::unlink(unfinished.c_str()); // of a process that had this ID before
        writeFile(unfinished, json.dump());
        fs::rename(unfinished, file);
    } catch (std::exception const& error) {
        throw std::runtime_error("announcement " + file.string() + ": " + error.what());
    }
}

std::optional<Announcement> readAnnouncement(fs::path const& file) {
    std::ifstream stream(file);
    auto const json = Json::parse(stream, nullptr, false);
    try {
        auto const pid = json.at(pidKey).get<std::int64_t>();
        if (pid <= 0 || pid > std::numeric_limits<pid_t>::max()) {
            return std::nullopt;
        }
        Announcement announcement{json.at(nameKey), json.at(endpointKey), static_cast<pid_t>(pid),
                                  std::nullopt};
        if (auto const startTime = json.find(startTimeKey); startTime != json.end()) {
            announcement.startTime = startTime->get<std::uint64_t>();
        }
        return announcement;
    } catch (Json::exception const&) {
        return std::nullopt;
    }
}

std::vector<Announcement> readAnnouncements(fs::path const& directory) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        if (isAnnouncementFile(entry->path())) {
            files.push_back(entry->path());
        }
    }
    std::sort(files.begin(), files.end());
    std::vector<Announcement> announcements;
    for (auto const& file : files) {
        auto announcement = readAnnouncement(file);
        if (!announcement) {
            continue;
        }
        if (isAlive(*announcement)) {
            announcements.push_back(*std::move(announcement));
        } else {
            fs::remove(file, error);
        }
    }
    return announcements;
}

std::string escapeForFileName(std::string const& text) {
    static char const digits[] = "0123456789ABCDEF";
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
