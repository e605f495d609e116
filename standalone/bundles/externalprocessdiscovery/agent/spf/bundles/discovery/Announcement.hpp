// Announcements as files: a name and the endpoint that it stands for, for as long as the announcing process
// lives.
#ifndef AGENT_SPF_BUNDLES_DISCOVERY_ANNOUNCEMENT_HPP
#define AGENT_SPF_BUNDLES_DISCOVERY_ANNOUNCEMENT_HPP

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/spf/bundles/common/FileDescriptor.hpp"

namespace agent::spf::bundles::discovery {

// In the file a JSON object with these two members.
struct Announcement {
    std::string name;
    std::string endpoint;
};

// The ending of the files' names; other files of the directory are passed over.
inline constexpr char announcementExtension[] = ".json";

// The ending of the sockets that announcers make in the same directory.
inline constexpr char socketExtension[] = ".sock";

// An announcement of this process. Its file is locked from before it can be seen until the process ends,
// however that ends: a file that is not locked is a dead process's. A path is used for one announcement only,
// so nobody removes a later one in place of it.
class AnnouncementFile {
public:
    // Writes the file, mode 0600, so that nobody ever sees a part of it. Throws std::runtime_error that names
    // it.
    AnnouncementFile(std::filesystem::path path, Announcement const& announcement);
    ~AnnouncementFile(); // removes it
    AnnouncementFile(AnnouncementFile const&) = delete;
    AnnouncementFile& operator=(AnnouncementFile const&) = delete;

private:
    std::filesystem::path const path_;
    FileDescriptor descriptor_; // holds the lock
};

// Nothing if the text is no announcement.
std::optional<Announcement> parseAnnouncement(std::string_view text);

// The announcements of living processes, in the order of the files' names. Those of dead ones are removed,
// and with them the sockets in the directory that they announce.
std::vector<Announcement> readAnnouncements(std::filesystem::path const& directory);

// The text with everything but letters, digits, '-' and '_' written as %XX: fit for a file's name.
std::string escapeForFileName(std::string const& text);

} // namespace agent::spf::bundles::discovery

#endif
