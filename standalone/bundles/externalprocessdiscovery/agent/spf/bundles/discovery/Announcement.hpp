// Announcements as files: a name and the endpoint that it stands for, for as long as the announcing process
// lives.
#ifndef AGENT_SPF_BUNDLES_DISCOVERY_ANNOUNCEMENT_HPP
#define AGENT_SPF_BUNDLES_DISCOVERY_ANNOUNCEMENT_HPP

#include <filesystem>
#include <mutex>
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
inline constexpr char const* announcementExtension = ".json";

// The ending of the sockets that announcers make in the same directory.
inline constexpr char const* socketExtension = ".sock";

// An announcement of this process. Its file is locked from before it can be seen until the process ends,
// however that ends: a file that is not locked is a dead process's. A path is used for one announcement only,
// so nobody removes a later one in place of it. Thread safe.
class AnnouncementFile {
public:
    // Writes the file, mode 0600, so that nobody ever sees a part of it. Throws std::runtime_error that names
    // it.
    AnnouncementFile(std::filesystem::path path, Announcement const& announcement);
    ~AnnouncementFile(); // withdraws
    AnnouncementFile(AnnouncementFile const&) = delete;
    AnnouncementFile& operator=(AnnouncementFile const&) = delete;

    // Writes the file anew if it was deleted; one that was moved still announces from where it is. Throws as
    // the constructor does.
    void restore();

    // Removes the file for good.
    void withdraw() noexcept;

private:
    FileDescriptor write() const;

    std::filesystem::path const path_;
    std::string const text_;
    std::mutex mutex_;          // guards descriptor_, and restore() against withdraw()
    FileDescriptor descriptor_; // holds the file's lock; none once withdrawn
};

// Nothing if the text is no announcement.
std::optional<Announcement> parseAnnouncement(std::string_view text);

// The announcements of living processes, in the order of the files' names. Those of dead ones, finished or
// not, are removed, and with them the sockets in the directory that they announce.
std::vector<Announcement> readAnnouncements(std::filesystem::path const& directory);

// The text with everything but letters, digits, '-' and '_' written as %XX: fit for a file's name.
std::string escapeForFileName(std::string const& text);

} // namespace agent::spf::bundles::discovery

#endif
