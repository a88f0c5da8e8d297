#include "platform/linux/linux_automount_hold.hpp"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>

#include "platform/linux/errno_text.hpp"

extern char** environ;

namespace platform {

namespace fs = std::filesystem;

std::string LinuxAutomountHold::usbDeviceName(std::uint32_t locationID) {
    std::string name = std::to_string(locationID >> 24) + "-";
    bool first = true;
    for (int shift = 20; shift >= 0; shift -= 4) {
        const unsigned port = (locationID >> shift) & 0xF;
        if (port == 0) break;
        if (!first) name += '.';
        name += std::to_string(port);
        first = false;
    }
    return name;
}

std::string LinuxAutomountHold::rulesText(int pid, const std::set<std::string>& released) {
    std::string text =
        "# Written by `vantrel watch --check` while it runs, and removed when it ends: a USB disk\n"
        "# that arrives is hidden from udisks2, so that the desktop doesn't mount it, until\n"
        "# its check is over. It stops applying when that process is gone.\n"
        "ACTION==\"remove\", GOTO=\"vantrel_hold_end\"\n"
        "SUBSYSTEM!=\"block\", GOTO=\"vantrel_hold_end\"\n"
        "TEST!=\"/proc/" + std::to_string(pid) + "\", GOTO=\"vantrel_hold_end\"\n";
    for (const auto& usb : released) text += "DEVPATH==\"*/" + usb + "/*\", GOTO=\"vantrel_hold_end\"\n";
    // Held from its add; the kernel's own change events (a look at the partitions) keep
    // the mark the disk has, so a disk that was there before the watcher is never hidden.
    text += "DEVPATH!=\"*/usb[0-9]*/*\", GOTO=\"vantrel_hold_end\"\n"
            "ACTION==\"add\", ENV{UDISKS_IGNORE}=\"1\"\n"
            "ACTION==\"change\", IMPORT{db}=\"UDISKS_IGNORE\"\n"
            "LABEL=\"vantrel_hold_end\"\n";
    return text;
}

void LinuxAutomountHold::reloadUdevRules() {
    char program[] = "udevadm";
    char control[] = "control";
    char reload[] = "--reload";
    char* argv[] = {program, control, reload, nullptr};
    pid_t child = 0;
    if (::posix_spawnp(&child, program, nullptr, nullptr, argv, environ) != 0) return;
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
}

LinuxAutomountHold::LinuxAutomountHold(Paths paths) : paths_(std::move(paths)) {
    if (paths_.pid == 0) paths_.pid = static_cast<int>(::getpid());
}

std::unique_ptr<LinuxAutomountHold> LinuxAutomountHold::open(std::string& why, Paths paths) {
    std::unique_ptr<LinuxAutomountHold> hold(new LinuxAutomountHold(std::move(paths)));
    std::error_code error;
    fs::create_directories(hold->paths_.rulesFile.parent_path(), error);
    if (error) {
        why = hold->paths_.rulesFile.parent_path().string() + ": " + error.message();
        return nullptr;
    }
    if (!hold->write(why)) return nullptr;
    hold->paths_.reloadRules();
    return hold;
}

LinuxAutomountHold::~LinuxAutomountHold() {
    std::error_code ignored;
    fs::remove(paths_.rulesFile, ignored);
    paths_.reloadRules();
    offerAgain({});
}

bool LinuxAutomountHold::write(std::string& why) const {
    // Written aside and renamed into place: udev never reads half a rule.
    const fs::path temporary = paths_.rulesFile.string() + ".new";
    {
        std::ofstream file(temporary, std::ios::trunc);
        file << rulesText(paths_.pid, released_);
        if (!file.flush()) {
            why = temporary.string() + ": " + errnoText(errno);
            return false;
        }
    }
    std::error_code error;
    fs::rename(temporary, paths_.rulesFile, error);
    if (error) {
        why = paths_.rulesFile.string() + ": " + error.message();
        fs::remove(temporary, error);
        return false;
    }
    return true;
}

void LinuxAutomountHold::release(std::uint32_t locationID) {
    const std::string usb = usbDeviceName(locationID);
    released_.insert(usb);
    std::string ignored;
    if (write(ignored)) paths_.reloadRules();
    offerAgain(usb);
}

void LinuxAutomountHold::forget(std::uint32_t locationID) {
    if (released_.erase(usbDeviceName(locationID)) == 0) return;
    std::string ignored;
    if (write(ignored)) paths_.reloadRules();
}

void LinuxAutomountHold::offerAgain(const std::string& usbName) const {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(paths_.sysRoot / "class/block", error)) {
        const fs::path device = fs::canonical(entry.path(), error);
        if (error) continue;
        const std::string path = device.string() + "/";
        const bool under = usbName.empty() ? path.find("/usb") != std::string::npos
                                           : path.find("/" + usbName + "/") != std::string::npos;
        if (!under) continue;
        std::ofstream uevent(entry.path() / "uevent");
        uevent << "change";
    }
}

}  // namespace platform
