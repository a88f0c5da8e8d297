#include "drivekit/writes/write_owner.hpp"

#include <gtest/gtest.h>

namespace drivekit {
namespace {

using namespace std::string_literals;

struct Case {
    std::string cgroup;
    std::string path;
    std::string cmdline;
    std::string key;
    std::optional<std::string> name;
};

// Cgroups and command lines as GNOME, KDE, flatpak, snap and the browsers leave them.
TEST(WriteOwners, classifyRealProcesses) {
    const std::string user = "/user.slice/user-1000.slice/user@1000.service/app.slice/";
    const Case cases[] = {
        // Desktop launches: GNOME with its launcher, KDE with none, KDE's services.
        {user + "app-gnome-org.gnome.Nautilus-4242.scope", "/usr/bin/nautilus", "", "app:org.gnome.Nautilus", "Nautilus"},
        {user + "app-org.kde.konsole@0f3b1e2a.service", "/usr/bin/konsole", "", "app:org.kde.konsole", "konsole"},
        // Flatpak and snap: the executable's path inside the sandbox doesn't matter.
        {user + "app-flatpak-org.mozilla.firefox-31337.scope", "/app/lib/firefox/firefox", "",
         "app:org.mozilla.firefox", "firefox"},
        {user + "snap.firefox.firefox-6b4c6a0e-8c3f-4f1e-9f0d-2b7c1f3d5e6a.scope", "/snap/firefox/4033/usr/lib/firefox/firefox",
         "", "app:snap.firefox", "firefox"},
        // Browsers' web content, also inside the browser's own scope.
        {user + "app-gnome-google\\x2dchrome-5150.scope", "/opt/google/chrome/chrome",
         "/opt/google/chrome/chrome\0--type=renderer\0--crashpad-handler-pid=5\0--lang=en-US\0"s, "web", std::nullopt},
        {user + "app-gnome-firefox\\x2desr-88.scope", "/usr/lib/firefox-esr/firefox-esr",
         "/usr/lib/firefox-esr/firefox-esr\0-contentproc\0-childID\0" "1\0-isForBrowser\0{9c}\0" "88\0true\0tab\0"s, "web",
         std::nullopt},
        // The same browsers' other processes stay theirs; Electron renderers are the app's.
        {user + "app-gnome-google\\x2dchrome-5150.scope", "/opt/google/chrome/chrome",
         "/opt/google/chrome/chrome\0--type=utility\0--utility-sub-type=storage.mojom.StorageService\0"s,
         "app:google-chrome", "google-chrome"},
        {user + "app-gnome-code-99.scope", "/usr/share/code/code", "/usr/share/code/code\0--type=renderer\0"s, "app:code",
         "code"},
        // System services, system paths and kernel threads.
        {"/system.slice/docker-3f2a.scope", "/opt/containerd/bin/containerd-shim", "", "system", std::nullopt},
        {user + "pipewire.service", "/usr/libexec/tracker-miner-fs-3", "", "system", std::nullopt},
        // Everything else is a tool by its executable, /usr/bin included.
        {"/user.slice/user-1000.slice/session-2.scope", "/usr/bin/dd", "", "tool:/usr/bin/dd", "dd"},
        {user + "app-gnome-foo.slice", "/opt/foo/bin/foo", "", "tool:/opt/foo/bin/foo", "foo"},
    };
    for (const auto& c : cases) {
        const ProcessWrites process{1, 1, c.path, 1, c.cgroup, WriteOwners::isWebContent(c.path, c.cmdline)};
        const WriteOwner owner = WriteOwners::of(process);
        EXPECT_EQ(owner.key(), c.key) << c.cgroup << " " << c.path;
        EXPECT_EQ(WriteOwners::fileName(owner), c.name) << c.key;
        EXPECT_EQ(WriteOwner::fromKey(owner.key()), owner);
    }
}

TEST(WriteOwners, keysWithoutANameAreNoOwner) {
    for (const char* key : {"app:", "tool:", "", "App:x", "webpages", "system "}) {
        EXPECT_FALSE(WriteOwner::fromKey(key)) << key;
    }
}

}  // namespace
}  // namespace drivekit
