#pragma once
// Giving captured USB drives back to the kernel when the orderly way can't run.
//
// A capture takes the mass-storage interface from its kernel driver (usb-storage or uas)
// and gives it back on release. Two things can get in between:
//
// - A signal (Ctrl-C, a service manager's SIGTERM). The process must not go on into its
//   destructors from a signal handler, so the handler gives every interface this process
//   holds straight back through sysfs: it unbinds the interface from usbfs (the kernel
//   kills our transfers, frees our streams and puts the interface on its first setting),
//   then asks the bus to probe it, which binds whichever driver matches now. Only open,
//   write and close are used, with paths prepared at claim time.
//
// - SIGKILL, or a crash. The kernel releases our claim when the process dies but binds
//   nothing. `reattachOrphanedMassStorage` is the repair, for the next start. It touches
//   only interfaces this program claimed: a record in /run/vantrel/claimed/ (the
//   interface's name, holding the claiming process's ID) is written before the claim and
//   removed after the release, so a record whose process is gone and whose interface has
//   no driver is one of ours left behind. An interface an administrator unbound on
//   purpose has no record and is left alone, as is one another program holds through
//   usbfs. /run is emptied at boot, so no record outlives the devices it names.
//
// Both ask the kernel to choose the driver (the `drivers_probe` file) rather than binding
// usb-storage by name: a UAS enclosure belongs to uas, which usb-storage refuses, and the
// kernel's quirk table (usb-storage.quirks) decides between the two.
#include <string>
#include <vector>

namespace platform {

/// What the repair did to one interface ("2-1:1.0").
struct ReattachedInterface {
    std::string name;
    /// Empty when the probe was asked for; else why not (the errno's sentence).
    std::string error;

    bool operator==(const ReattachedInterface&) const = default;
};

/// Mass-storage interfaces (bInterfaceClass 08) that a process of this program, now gone,
/// recorded as claimed and that no driver serves, by their sysfs names, sorted. Records
/// of gone processes whose interface has a driver again, or is gone, are removed. `root`
/// is "/" on a running system.
std::vector<std::string> orphanedMassStorageInterfaces(const std::string& root = "/");

/// Asks the kernel to probe each orphaned mass-storage interface, so its driver binds
/// and its disk comes back. Needs root. Call it at start, before any capture of this run.
std::vector<ReattachedInterface> reattachOrphanedMassStorage(const std::string& root = "/");

/// Gives every interface this process has claimed back to the kernel, as described
/// above. Async-signal-safe: call it from a signal handler, and then end the process
/// without running destructors (`_exit`, or re-raising the signal with its default
/// action). Transfers still queued are killed; the captures' objects are dead after it.
void giveBackClaimedInterfacesNow() noexcept;

/// Installs handlers for SIGINT, SIGTERM, SIGHUP and SIGQUIT that call
/// `giveBackClaimedInterfacesNow()`, then restore the default action and raise the same
/// signal again, so the process ends as it would have without them. A handler of the
/// caller's that was installed before is replaced. Safe to call more than once.
void installGiveBackOnSignals();

// Used by the libusb device: the record of a claim, written before it (false when it
// couldn't be written: then nothing is claimed) and removed after the release.
bool recordClaim(const std::string& name);
void forgetClaim(const std::string& name);

// Used by the libusb device: the sysfs name of each claimed interface ("2-1:1.0"), so
// that a signal handler can find them without allocating. Up to eight at a time.
void noteClaimedInterface(const std::string& name);
void noteReleasedInterface(const std::string& name);
/// The interfaces noted as claimed now.
std::vector<std::string> claimedInterfaces();
/// Where the signal path writes and claims are recorded: "/" unless a test says otherwise. Not thread-safe; set
/// it before anything is claimed.
void setGiveBackRoot(const std::string& root);

}  // namespace platform
