#include "app/store/single_instance.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace app {
namespace {

TEST(SingleInstance, TheSecondProcessLosesAndLearnsTheFirstsPidUntilItDies) {
    const auto file = std::filesystem::path(::testing::TempDir()) / ("lock-" + std::to_string(::getpid()));
    int ready[2];
    int release[2];
    ASSERT_EQ(::pipe(ready), 0);
    ASSERT_EQ(::pipe(release), 0);
    const pid_t first = ::fork();
    ASSERT_GE(first, 0);
    if (first == 0) {
        const auto lock = SingleInstance::acquire(file);
        char byte = lock.isInstance ? 'y' : 'n';
        if (::write(ready[1], &byte, 1) != 1 || ::read(release[0], &byte, 1) != 1) ::_exit(2);
        ::_exit(0);
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'y');
    const auto second = SingleInstance::acquire(file);
    EXPECT_FALSE(second.isInstance);
    EXPECT_EQ(second.holder, first);

    // The first ends without tidying up: its lock went with it, the file is taken over.
    ASSERT_EQ(::write(release[1], &byte, 1), 1);
    ::waitpid(first, nullptr, 0);
    const auto third = SingleInstance::acquire(file);
    EXPECT_TRUE(third.isInstance);
    ::close(third.descriptor);
    std::filesystem::remove(file);
}

TEST(SingleInstance, TenRequestsInFourSecondsMakeOneRefresh) {
    RequestGate gate;
    const auto start = drivekit::json::SystemTime{} + std::chrono::hours(1);
    int admitted = 0;
    for (int i = 0; i < 10; ++i) admitted += gate.admits(start + std::chrono::milliseconds(400 * i)) ? 1 : 0;
    EXPECT_EQ(admitted, 1);
    EXPECT_TRUE(gate.admits(start + std::chrono::seconds(5)));
    EXPECT_TRUE(gate.admits(start));  // the clock went back
}

TEST(SingleInstance, LinksNameADriveByItsKey) {
    EXPECT_EQ(driveInLink("vantrel://drive/usb:0781%3A5583:64000000000"), "usb:0781:5583:64000000000");
    EXPECT_EQ(driveInLink("vantrel://drive"), "");
    EXPECT_FALSE(driveInLink("vantrel://drive/a/b"));
    EXPECT_FALSE(driveInLink("https://drive/x"));
}

TEST(SingleInstance, LinksBeforeTheWindowWaitAndArriveInOrder) {
    LinkInbox inbox;
    inbox.deliver("vantrel://drive/a");
    inbox.deliver("vantrel://drive/b");
    std::vector<std::string> seen;
    inbox.setHandler([&](const std::string& url) {
        seen.push_back(url);
        if (url.ends_with("/a")) inbox.deliver("vantrel://drive/c");  // sent while handling
    });
    inbox.deliver("vantrel://drive/d");
    EXPECT_EQ(seen, (std::vector<std::string>{"vantrel://drive/a", "vantrel://drive/b", "vantrel://drive/c",
                                              "vantrel://drive/d"}));
    EXPECT_EQ(inbox.waiting(), 0u);
}

}  // namespace
}  // namespace app
