// Notes against a private session bus: a dbus-daemon of the test's own, and the stand-in
// service of support/notification_service.py, which logs each call it answers.
#include "app/store/note_sinks.hpp"

#include <unistd.h>

#include <QDBusConnectionInterface>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "drivekit/core/json.hpp"
#include "platform/tests/support/child_process.hpp"

namespace app {
namespace {

namespace fs = std::filesystem;

using platform::helpers::Child;

class NoteSinksTest : public ::testing::Test {
  protected:
    static constexpr const char* kDaemon = "/usr/bin/dbus-daemon";

    void SetUp() override {
        if (::access(kDaemon, X_OK) != 0) GTEST_SKIP() << "dbus-daemon is not installed";
        folder_ = fs::temp_directory_path() / ("vantrel-notes-" + std::to_string(::getpid()));
        fs::create_directories(folder_);
        daemon_ = Child::start(kDaemon, {"--config-file=" VANTREL_PRIVATE_BUS_CONF,
                                         "--print-address=1", "--nofork"});
        address_ = daemon_.line().value_or("");
        ASSERT_FALSE(address_.empty()) << "the private dbus-daemon didn't start";
        bus_ = QDBusConnection::connectToBus(QString::fromStdString(address_), "vantrel-notes");
        ASSERT_TRUE(bus_.isConnected());
    }
    void TearDown() override {
        QDBusConnection::disconnectFromBus("vantrel-notes");
        for (auto* child : {&service_, &daemon_}) child->stop();
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    fs::path folder_;
    Child daemon_, service_;
    std::string address_;
    QDBusConnection bus_{""};
};

TEST_F(NoteSinksTest, TheStandInHearsEachNoteAndANoteOfTheSameIdReplacesTheOld) {
    EXPECT_FALSE(DesktopNotifications::available(bus_));  // a server: notes become log lines
    const auto log = folder_ / "calls.log";
    service_ = Child::start("/usr/bin/python3", {VANTREL_STORE_TEST_SUPPORT "/notification_service.py", "--address",
                                                 QString::fromStdString(address_), "--log",
                                                 QString::fromStdString(log.string())});
    ASSERT_EQ(service_.line().value_or(""), "ready");
    ASSERT_TRUE(DesktopNotifications::available(bus_));

    DesktopNotifications desktop(bus_);
    EXPECT_TRUE(desktop.show(Note{"worse.S1", "Backup needs care", "From Healthy to Warning.", 24.0,
                                  Note::Urgency::warning}));
    EXPECT_TRUE(desktop.show(Note{"hot.S1", "Backup is running hot", "It's at 71 °C.", 6.0}));
    EXPECT_TRUE(desktop.show(Note{"worse.S1", "Backup needs attention", "From Warning to Failing.", 24.0,
                                  Note::Urgency::warning}));

    std::vector<drivekit::json::Object> calls;
    std::ifstream in(log);
    for (std::string line; std::getline(in, line);) calls.push_back(*drivekit::json::parse(line));
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0]["title"], "Backup needs care");
    EXPECT_EQ(calls[0]["body"], "From Healthy to Warning.");
    EXPECT_EQ(calls[0]["replaces"], 0);
    EXPECT_EQ(calls[0]["urgency"], 2);
    EXPECT_EQ(calls[1]["replaces"], 0);
    EXPECT_EQ(calls[1]["urgency"], 1);
    EXPECT_EQ(calls[2]["replaces"], calls[0]["id"]);
    EXPECT_EQ(calls[2]["title"], "Backup needs attention");

    service_.stop();
    EXPECT_FALSE(desktop.show(Note{"hot.S2", "t", "b", 6.0}));  // gone: not counted as sent
}

TEST(LogNotesTest, OneLinePerNoteOrAJournalEntryWithItsPriority) {
    std::ostringstream out, journal;
    const Note note{"hot.a", "Disk\nname is running hot", "It's at 70 °C.", 6.0, Note::Urgency::warning};
    EXPECT_TRUE(logNotes(out, false, journal)(note) && logNotes(out, true, journal)(note));
    EXPECT_EQ(out.str(), "note: Disk name is running hot: It's at 70 °C.\n");
    EXPECT_EQ(journal.str(), "<4>" + out.str());
}

}  // namespace
}  // namespace app
