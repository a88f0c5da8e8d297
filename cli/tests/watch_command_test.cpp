// `vantrel watch` over scripted disk events and the fixture sysfs tree, in which the USB
// disk sdb is hidden until it is "plugged in".
#include <deque>
#include <functional>
#include <sstream>

#include <gtest/gtest.h>

#include "cli/exit_codes.hpp"
#include "cli/watch_command.hpp"
#include "drivekit/core/json.hpp"
#include "platform/linux/linux_sysfs.hpp"

namespace {

using platform::DiskEvent;
using Lines = std::vector<std::string>;

class NoNVMe final : public platform::NVMeAdmin {
public:
    platform::NVMeAdminReply smartLog(std::string_view) override {
        return platform::NVMeAdminFailure{platform::NVMeAdminFailure::Kind::noController, 19};
    }
    platform::NVMeAdminReply identifyController(std::string_view name) override { return smartLog(name); }
};

// The fixture tree without one disk until it is plugged in.
class PluggableSysfs final : public platform::Sysfs {
public:
    explicit PluggableSysfs(std::string hidden) : hidden_(std::move(hidden)) {}
    bool plugged = false;

    std::optional<std::string> read(std::string_view path) const override {
        return hides(path) ? std::nullopt : tree_.read(path);
    }
    std::vector<std::string> list(std::string_view path) const override {
        auto names = tree_.list(path);
        if (!plugged) std::erase(names, hidden_);
        return names;
    }
    bool exists(std::string_view path) const override { return !hides(path) && tree_.exists(path); }
    std::optional<std::string> readLink(std::string_view path) const override {
        return hides(path) ? std::nullopt : tree_.readLink(path);
    }
    std::optional<std::string> resolve(std::string_view path) const override {
        return hides(path) ? std::nullopt : tree_.resolve(path);
    }

private:
    bool hides(std::string_view path) const {
        return !plugged && path.find("/" + hidden_) != std::string_view::npos;
    }
    platform::LinuxSysfs tree_{std::string(VANTREL_TEST_DATA) + "/sysfs"};
    std::string hidden_;
};

// Hands out one scripted batch per wait; each batch may first change the machine.
class ScriptedEvents final : public platform::DiskEvents {
public:
    struct Batch {
        std::function<void()> before;
        std::vector<DiskEvent> events;
    };
    std::deque<Batch> batches;
    int waits = 0;

    std::vector<DiskEvent> wait(std::chrono::milliseconds) override {
        ++waits;
        if (batches.empty()) return {};
        Batch batch = std::move(batches.front());
        batches.pop_front();
        if (batch.before) batch.before();
        return batch.events;
    }
};

class WatchCommand : public ::testing::Test {
protected:
    WatchCommand() {
        const DiskEvent addSDB{DiskEvent::Action::added, "sdb"};
        events.batches = {
            {[this] { sysfs.plugged = true; }, {addSDB}},
            {nullptr, {}},  // a wait that ran out, or a signal cut it short
            // The kernel's second look at the same disk, and a disk that was there at the
            // start: neither is news.
            {nullptr, {addSDB, {DiskEvent::Action::added, "sda"}}},
            {[this] { sysfs.plugged = false; }, {{DiskEvent::Action::removed, "sdb"}}},
        };
    }

    std::string watch(bool json) {
        cli::Arguments arguments;
        arguments.command = cli::Command::watch;
        arguments.json = json;
        cli::Machine machine{sysfs, nvme, drivekit::Locale{"en_US"}};
        std::ostringstream out;
        code = cli::watchDrives(arguments, machine, events, [this] { return events.batches.empty(); }, out);
        return out.str();
    }

    PluggableSysfs sysfs{"sdb"};
    NoNVMe nvme;
    ScriptedEvents events;
    int code = -1;
};

Lines linesOf(const std::string& text) {
    Lines lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

TEST_F(WatchCommand, PrintsALineForEachArrivalAndDepartureAndEndsCleanly) {
    const Lines lines = linesOf(watch(false));
    EXPECT_EQ(code, cli::exitOK);
    ASSERT_EQ(lines.size(), 3u) << ::testing::PrintToString(lines);
    EXPECT_EQ(lines[0], "Watching for drives. Plug one in.");
    EXPECT_EQ(lines[1].rfind("sdb connected: ", 0), 0u) << lines[1];
    EXPECT_NE(lines[1].find("(USB"), std::string::npos) << lines[1];
    EXPECT_TRUE(lines[1].ends_with("Check it with sudo vantrel check sdb.")) << lines[1];
    EXPECT_EQ(lines[2], "sdb disconnected.");
    EXPECT_EQ(events.waits, 4) << "it stops as soon as it is told to";
}

TEST_F(WatchCommand, JsonIsOneObjectPerLineWithoutTheGreeting) {
    const Lines lines = linesOf(watch(true));
    EXPECT_EQ(code, cli::exitOK);
    ASSERT_EQ(lines.size(), 2u) << ::testing::PrintToString(lines);
    const auto arrived = drivekit::json::parse(lines[0]);
    const auto left = drivekit::json::parse(lines[1]);
    ASSERT_TRUE(arrived && left) << lines[0] << "\n" << lines[1];
    EXPECT_EQ((*arrived)["event"], "connected");
    EXPECT_EQ((*arrived)["bsdName"], "sdb");
    EXPECT_EQ((*left)["event"], "disconnected");
}

}  // namespace
