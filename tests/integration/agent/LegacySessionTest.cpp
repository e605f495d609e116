// A session with the legacy configuration, in the framework of this process.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include <gtest/gtest.h>
#include <unistd.h>

#include "agent/host/standalone/StandaloneHost.hpp"
#include "progress/Narrator.hpp"
#include "run/LegacySession.hpp"

namespace {

using namespace agent::program;
using namespace std::chrono_literals;

constexpr auto patience = 20s; // only a failing test waits so long

class LegacySessionTest : public testing::Test {
protected:
    LegacySessionTest() {
        std::filesystem::create_directory(runtimeDirectory_);
        agent::host::standalone::setInstallationRoot(AGENT_TEST_INSTALLATION);
        agent::host::standalone::setFrameworkProperties(
            {{"qo.spf.runtimedirectory", runtimeDirectory_.string()}});
    }
    ~LegacySessionTest() override { std::filesystem::remove_all(runtimeDirectory_); }

    // Whether a message of that kind comes; those before it are dropped.
    template <typename Wanted>
    bool comes() {
        while (auto const message = messages_.take(MessageBox::Clock::now() + patience)) {
            if (std::holds_alternative<Wanted>(*message)) {
                return true;
            }
        }
        return false;
    }

    std::filesystem::path const runtimeDirectory_ =
        std::filesystem::temp_directory_path() / ("agent-tests-" + std::to_string(::getpid()));
    MessageBox messages_;
    Narrator narrator_{{}, ProgressStyle::Quiet};
};

// As when an exception leaves run().
TEST_F(LegacySessionTest, StopsTheFrameworkWhenItIsGivenUp) {
    std::optional<LegacySession> session(std::in_place, narrator_, messages_);
    ASSERT_TRUE(comes<ConfigurationAdopted>());

    auto end = std::async(std::launch::async, [&] { session.reset(); });

    if (end.wait_for(patience) == std::future_status::timeout) {
        ADD_FAILURE() << "it still waits";
        std::_Exit(EXIT_FAILURE); // its thread would not end
    }
    EXPECT_TRUE(comes<FrameworkStopped>());
}

} // namespace
