// The mount table's poll mark against the real kernel: in a child with a mount namespace
// of its own (made private, so nothing reaches this machine's table).
#include "platform/linux/linux_mount_watch.hpp"

#include <sched.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace platform {
namespace {

using namespace std::chrono_literals;

constexpr int kNoNamespace = 77;

// 0 when a mount and an unmount during one wait were one change and the table stays quiet
// after it; another code says which step failed.
int watchInOwnNamespace() {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return kNoNamespace;
    }
    std::string why;
    auto watch = LinuxMountWatch::open(why);
    if (!watch) return 2;
    if (!watch->wait(0ms).empty()) return 3;
    char folder[] = "/tmp/vantrel-mount-watch-XXXXXX";
    if (::mkdtemp(folder) == nullptr) return 4;
    if (::mount("none", folder, "tmpfs", 0, nullptr) != 0) return kNoNamespace;
    ::umount2(folder, 0);
    ::rmdir(folder);
    const auto events = watch->wait(2000ms);
    if (events != std::vector<DiskEvent>{{DiskEvent::Action::mountsChanged, ""}}) return 5;
    return watch->wait(0ms).empty() ? 0 : 6;
}

TEST(LinuxMountWatch, MountsDuringAWaitAreOneChangeAndTheMarkClears) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) ::_exit(watchInOwnNamespace());
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kNoNamespace) GTEST_SKIP() << "no mount namespace of our own here";
    EXPECT_EQ(WEXITSTATUS(status), 0);

    std::string why;
    EXPECT_FALSE(LinuxMountWatch::open(why, "/nonexistent/mountinfo"));
    EXPECT_NE(why.find("/nonexistent/mountinfo: "), std::string::npos);
}

}  // namespace
}  // namespace platform
