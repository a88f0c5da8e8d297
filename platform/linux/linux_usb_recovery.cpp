#include "platform/linux/linux_usb_recovery.hpp"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* devicesDir = "sys/bus/usb/devices";
constexpr const char* probeFile = "sys/bus/usb/drivers_probe";
constexpr const char* usbfsUnbindFile = "sys/bus/usb/drivers/usbfs/unbind";
constexpr const char* massStorageClass = "08";
constexpr const char* recordsDir = "run/vantrel/claimed";

// The claimed interfaces, readable from a signal handler: a slot is written only while
// its state says so, and the handler reads only slots that are ready.
constexpr int slotCount = 8;
constexpr std::size_t nameCapacity = 48;
enum SlotState : int { freeSlot = 0, writing = 1, ready = 2 };
struct Slot {
    std::atomic<int> state{freeSlot};
    char name[nameCapacity] = {};
};
Slot slots[slotCount];

constexpr std::size_t pathCapacity = 512;
char unbindPath[pathCapacity] = "/sys/bus/usb/drivers/usbfs/unbind";
char probePath[pathCapacity] = "/sys/bus/usb/drivers_probe";
char recordsPath[pathCapacity] = "/run/vantrel/claimed/";
std::string recordsRoot = "/";

std::size_t length(const char* text) noexcept {
    std::size_t n = 0;
    while (text[n] != '\0') ++n;
    return n;
}

// open, write, close: all async-signal-safe. The trailing line feed is what a shell's
// echo writes; the kernel ignores it when it matches the name.
int writeName(const char* path, const char* name) noexcept {
    const int fd = ::open(path, O_WRONLY | O_APPEND | O_CLOEXEC);
    if (fd < 0) return errno;
    char line[nameCapacity + 1];
    const std::size_t n = length(name);
    for (std::size_t i = 0; i < n; ++i) line[i] = name[i];
    line[n] = '\n';
    const ssize_t written = ::write(fd, line, n + 1);
    const int error = written < 0 ? errno : 0;
    ::close(fd);
    return error;
}

void copyInto(char* into, std::size_t capacity, const std::string& text) {
    const std::size_t n = std::min(text.size(), capacity - 1);
    std::memcpy(into, text.data(), n);
    into[n] = '\0';
}

std::string firstLine(const fs::path& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    while (!line.empty() && (line.back() == '\n' || line.back() == ' ' || line.back() == '\r')) {
        line.pop_back();
    }
    return line;
}

// The record's file, built without allocating: "/run/vantrel/claimed/" and the name.
void forgetRecordNow(const char* name) noexcept {
    char path[pathCapacity + nameCapacity];
    std::size_t n = 0;
    for (const char* c = recordsPath; *c != '\0'; ++c) path[n++] = *c;
    for (const char* c = name; *c != '\0' && n + 1 < sizeof path; ++c) path[n++] = *c;
    path[n] = '\0';
    ::unlink(path);
}

bool processAlive(const std::string& text) {
    char* end = nullptr;
    const long pid = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || pid <= 0) return false;
    return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

void onSignal(int signal) {
    const int savedErrno = errno;
    giveBackClaimedInterfacesNow();
    // SA_RESETHAND has put back the default action; raised again, the signal ends the
    // process as soon as the handler returns and it is unblocked.
    std::raise(signal);
    errno = savedErrno;
}

}  // namespace

std::vector<std::string> orphanedMassStorageInterfaces(const std::string& root) {
    std::vector<std::string> found;
    std::error_code error;
    const fs::path records = fs::path(root) / recordsDir;
    for (const auto& record : fs::directory_iterator(records, error)) {
        const std::string name = record.path().filename().string();
        if (processAlive(firstLine(record.path()))) continue;  // a capture in progress
        const fs::path interface = fs::path(root) / devicesDir / name;
        std::error_code linkError;
        const bool present = fs::exists(interface / "bInterfaceClass", linkError);
        const bool served = fs::exists(fs::symlink_status(interface / "driver", linkError));
        if (present && !served && firstLine(interface / "bInterfaceClass") == massStorageClass) {
            found.push_back(name);
        } else {
            fs::remove(record.path(), linkError);  // given back after all, or unplugged
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<ReattachedInterface> reattachOrphanedMassStorage(const std::string& root) {
    const std::string probe = (fs::path(root) / probeFile).string();
    std::vector<ReattachedInterface> done;
    for (const std::string& name : orphanedMassStorageInterfaces(root)) {
        const int error = writeName(probe.c_str(), name.c_str());
        if (error == 0) {
            std::error_code ignored;
            fs::remove(fs::path(root) / recordsDir / name, ignored);
        }
        done.push_back({name, error == 0 ? std::string() : std::strerror(error)});
    }
    return done;
}

void giveBackClaimedInterfacesNow() noexcept {
    for (Slot& slot : slots) {
        if (slot.state.load(std::memory_order_acquire) != ready) continue;
        // Unbinding usbfs ends our claim; the probe then binds the kernel's own driver.
        writeName(unbindPath, slot.name);
        writeName(probePath, slot.name);
        forgetRecordNow(slot.name);
    }
}

void installGiveBackOnSignals() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaction(signal, &action, nullptr);
}

void noteClaimedInterface(const std::string& name) {
    for (Slot& slot : slots) {
        int expected = freeSlot;
        if (!slot.state.compare_exchange_strong(expected, writing, std::memory_order_acq_rel)) {
            continue;
        }
        copyInto(slot.name, nameCapacity, name);
        slot.state.store(ready, std::memory_order_release);
        return;
    }
    // More than eight captures at once: the ninth is given back only the orderly way.
}

void noteReleasedInterface(const std::string& name) {
    for (Slot& slot : slots) {
        if (slot.state.load(std::memory_order_acquire) != ready || name != slot.name) continue;
        slot.state.store(freeSlot, std::memory_order_release);
        return;
    }
}

std::vector<std::string> claimedInterfaces() {
    std::vector<std::string> names;
    for (const Slot& slot : slots) {
        if (slot.state.load(std::memory_order_acquire) == ready) names.emplace_back(slot.name);
    }
    return names;
}

bool recordClaim(const std::string& name) {
    const fs::path records = fs::path(recordsRoot) / recordsDir;
    std::error_code error;
    fs::create_directories(records, error);
    fs::permissions(records.parent_path(), fs::perms::owner_all, error);
    std::ofstream out(records / name, std::ios::trunc);
    out << ::getpid() << '\n';
    out.flush();
    return static_cast<bool>(out);
}

void forgetClaim(const std::string& name) {
    std::error_code error;
    fs::remove(fs::path(recordsRoot) / recordsDir / name, error);
}

void setGiveBackRoot(const std::string& root) {
    recordsRoot = root;
    copyInto(recordsPath, pathCapacity, (fs::path(root) / recordsDir).string() + "/");
    copyInto(unbindPath, pathCapacity, (fs::path(root) / usbfsUnbindFile).string());
    copyInto(probePath, pathCapacity, (fs::path(root) / probeFile).string());
}

}  // namespace platform
