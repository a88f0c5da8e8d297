#pragma once
// Exit codes scripts can rely on. Documented in the README; never renumber.

namespace cli {

enum ExitCode : int {
    exitOK = 0,            // read; every drive is healthy or worth watching
    exitNeedsCare = 1,     // read; a drive is at warning, failing or failed
    exitUsage = 2,         // bad command line
    exitNoDevice = 3,      // no such device
    exitNotSupported = 4,  // the device has no health data we can read
    exitNoPermission = 5,  // not allowed to read the device: needs root
    exitReadFailed = 6,    // the health read failed
    exitAsleep = 7,        // the disk is asleep and was left so (--wake reads it)
    exitBusy = 8,          // the drive is busy with a self-test (--abort ends it)
    exitOutputFailed = 9,  // the output couldn't be written (a full disk, a closed pipe)
    exitRefused = 10,      // bench: the volume is read-only, too full, or can't be read past the cache;
                           // eject, mount: the drive was in use, or the system refused
    exitNoVerdict = 11,    // selftest --wait: the test ended without a verdict, or none ran
};

/// The worse of two outcomes when several drives are checked: a failure to read beats
/// a drive that needs care, which beats success.
inline int worseExit(int a, int b) {
    auto rank = [](int code) { return code == exitOK ? 0 : code == exitNeedsCare ? 1 : 2; };
    return rank(b) > rank(a) ? b : a;
}

}  // namespace cli
