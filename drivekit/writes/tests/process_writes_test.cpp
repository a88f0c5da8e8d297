#include "drivekit/writes/process_writes.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "drivekit/writes/write_owner.hpp"
#include "platform/linux/linux_proc_files.hpp"

namespace drivekit {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

// A /proc tree in a temporary folder, read through the real Linux implementation.
class ProcTree {
  public:
    ProcTree() {
        std::string pattern = (fs::temp_directory_path() / "vantrel-proc-XXXXXX").string();
        root_ = ::mkdtemp(pattern.data());
        put("stat", "cpu  1 2 3 4\ncpu0 1 2 3 4\nintr 5\nctxt 6\nbtime 1763200000\nprocesses 7\n");
    }
    ~ProcTree() { fs::remove_all(root_); }
    ProcTree(const ProcTree&) = delete;
    ProcTree& operator=(const ProcTree&) = delete;

    void put(const std::string& relative, const std::string& text) const {
        fs::create_directories((root_ / relative).parent_path());
        std::ofstream(root_ / relative) << text;
    }
    // A process with `comm` and start time in ticks; empty parts are left out.
    void process(int pid, const std::string& comm, std::uint64_t ticks, std::optional<std::uint64_t> written,
                 const std::string& exe, const std::string& cgroup = "", const std::string& cmdline = "") const {
        const std::string dir = std::to_string(pid) + "/";
        put(dir + "stat", std::to_string(pid) + " (" + comm + ") S 1 1 1 0 -1 4194560 100 0 0 0 1 2 0 0 20 0 1 0 " +
                              std::to_string(ticks) + " 1000 200 18446744073709551615\n");
        if (written) {
            put(dir + "io", "rchar: 10\nwchar: 20\nsyscr: 1\nsyscw: 2\nread_bytes: 0\nwrite_bytes: " +
                                std::to_string(*written) + "\ncancelled_write_bytes: 999\n");
        }
        if (!exe.empty()) fs::create_symlink(exe, root_ / (dir + "exe"));
        put(dir + "cgroup", cgroup.empty() ? "0::/\n" : cgroup);
        put(dir + "cmdline", cmdline);
    }
    const fs::path& root() const { return root_; }

  private:
    fs::path root_;
};

TEST(ProcessWritesReader, readsCountersStartTimesPathsAndOwnerHints) {
    ProcTree tree;
    // A name with spaces and a parenthesis, as a process may give itself.
    tree.process(100, "evil ) name (x", 250, 4096, "/usr/bin/rsync",
                 "12:pids:/user.slice\n0::/user.slice/user-1000.slice/session-2.scope\n");
    tree.process(2, "kthreadd", 0, 0, "");
    tree.process(3, "kworker/0:1", 5, 12288, "");
    tree.process(300, "firefox-esr", 100, 8192, "/usr/lib/firefox-esr/firefox-esr", "0::/app.slice/x.scope\n",
                 "/usr/lib/firefox-esr/firefox-esr\0-contentproc\0-isForBrowser\0{a}\0" "3\0tab\0"s);
    // Idle: read no further than its counter, since its owner is never asked.
    tree.process(400, "idle", 100, 0, "/opt/idle", "0::/app.slice/app-flatpak-org.example.Idle-4.scope\n");
    // Gone between listing and reading: no io, or io and no stat.
    tree.process(500, "gone", 100, std::nullopt, "/usr/bin/gone");
    tree.put("600/io", "write_bytes: 5\n");

    const platform::LinuxProcFiles proc(tree.root(), 100);
    auto processes = ProcessWritesReader::snapshot(proc);
    std::sort(processes.begin(), processes.end(), [](const auto& a, const auto& b) { return a.pid < b.pid; });
    ASSERT_EQ(processes.size(), 5u);
    // A kernel thread that wrote: no path, so the system's.
    EXPECT_EQ(WriteOwners::of(processes[1]), WriteOwner::system());
    processes.erase(processes.begin() + 1);

    EXPECT_EQ(processes[0], (ProcessWrites{2, 0, "", 0, "", false}));
    EXPECT_EQ(processes[1], (ProcessWrites{100, 1'763'200'002'500'000, "/usr/bin/rsync", 4096,
                                           "/user.slice/user-1000.slice/session-2.scope", false}));
    EXPECT_TRUE(processes[2].webContent);
    EXPECT_EQ(processes[3], (ProcessWrites{400, 0, "", 0, "", false}));

    EXPECT_EQ(ProcessWritesReader::read(proc, 100), processes[1]);
    EXPECT_EQ(ProcessWritesReader::read(proc, 500), ProcessWrites{});
}

TEST(ProcessWritesReader, readsThisProcessFromTheRealProc) {
    // Write something to a disk first: a process that hasn't written is read no further.
    const fs::path file = fs::current_path() / ("vantrel-writes-self-" + std::to_string(::getpid()));
    std::ofstream(file) << std::string(65536, 'x');
    std::error_code ignored;
    fs::remove(file, ignored);
    const platform::LinuxProcFiles proc;
    const auto self = ProcessWritesReader::read(proc, ::getpid());
    if (self.written == 0) GTEST_SKIP() << "the working folder's file system counts no writes (tmpfs)";
    EXPECT_EQ(self.pid, ::getpid());
    EXPECT_EQ(self.path, fs::read_symlink("/proc/self/exe").string());
    const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
                         std::chrono::system_clock::now().time_since_epoch()).count();
    // Started within the last hour, give or take the whole seconds of btime.
    EXPECT_LE(self.started, static_cast<std::uint64_t>(now) + 1'000'000);
    EXPECT_GT(self.started + 3'600'000'000ull, static_cast<std::uint64_t>(now));
}

TEST(ProcessWritesJson, roundTripsAndRefusesWhatIsNoRecord) {
    const ProcessWrites process{42, 1'763'200'000'123'456, "/usr/bin/dd", 1u << 30, "/app.slice/a.scope", true};
    EXPECT_EQ(processWritesFromJson(toJson(process)), process);
    // The service's bare form, without the Linux fields, in any key order.
    EXPECT_EQ(processWritesFromJson(*json::parse(R"({"written":7,"path":"","started":0,"pid":1})")),
              (ProcessWrites{1, 0, "", 7, "", false}));
    EXPECT_FALSE(processWritesFromJson(*json::parse(R"({"pid":1,"started":0,"path":"","written":-7})")));
    EXPECT_FALSE(processWritesFromJson(*json::parse(R"({"pid":4294967296,"started":0,"path":"","written":7})")));
    EXPECT_FALSE(processWritesFromJson(*json::parse(R"({"pid":1,"started":0,"written":7})")));
}

}  // namespace
}  // namespace drivekit
