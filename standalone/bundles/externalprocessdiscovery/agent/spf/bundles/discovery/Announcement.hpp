// Announcements as files: a name, the endpoint that it stands for, and the process that says so.
#ifndef AGENT_SPF_BUNDLES_DISCOVERY_ANNOUNCEMENT_HPP
#define AGENT_SPF_BUNDLES_DISCOVERY_ANNOUNCEMENT_HPP

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace agent::spf::bundles::discovery {

// In the file a JSON object with these members; only "startTime" may be missing.
struct Announcement {
    std::string name;
    std::string endpoint;
    pid_t pid;
    std::optional<std::uint64_t> startTime; // of the process, as the system counts it: tells it from a later
                                            // process with the same ID
};

// The ending of the files' names; other files of the directory are passed over.
inline constexpr char announcementExtension[] = ".json";

// The announcement of this process.
Announcement ownAnnouncement(std::string name, std::string endpoint);

// Whether the announcing process is running.
bool isAlive(Announcement const& announcement);

// Writes the file, mode 0600, so that nobody ever sees a part of it. Throws std::runtime_error that names it.
void writeAnnouncement(std::filesystem::path const& file, Announcement const& announcement);

// Nothing if the file is gone or holds no announcement.
std::optional<Announcement> readAnnouncement(std::filesystem::path const& file);

// The announcements of living processes, in the order of the files' names. Files of dead ones are removed.
std::vector<Announcement> readAnnouncements(std::filesystem::path const& directory);

// The text with everything but letters, digits, '-' and '_' written as %XX: fit for a file's name.
std::string escapeForFileName(std::string const& text);

} // namespace agent::spf::bundles::discovery

#endif
