#pragma once
// DemoMachine: a described machine, for the demo modes, screenshots and tests on computers
// without the drives they show. It serves the same platform interfaces the Linux layer
// does (sysfs, NVMe admin commands, the mount table, block-device contents, free space, SCSI
// pass-through, a clock), all answered from one JSON description, so that everything
// above the platform runs exactly the code it runs on real hardware.
//
// The description's format is documented in data/demo/README.md. Loading checks it
// whole: a description that can't be used is refused with one sentence saying what is
// wrong and where, never half loaded. Once made, the machine never changes, so its parts
// may be used from any thread; each SCSI connection is its own.
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/result.hpp"
#include "platform/scsi_drive.hpp"
#include "platform/block_probe.hpp"
#include "platform/clock.hpp"
#include "platform/demo/demo_bench_files.hpp"
#include "platform/demo/demo_clock.hpp"
#include "platform/demo/demo_mounts.hpp"
#include "platform/demo/demo_nvme_admin.hpp"
#include "platform/demo/sim_ata_disk.hpp"
#include "platform/demo/demo_sysfs.hpp"
#include "platform/mounts.hpp"
#include "platform/nvme_admin.hpp"
#include "platform/sysfs.hpp"
#include "platform/volume_space.hpp"

namespace platform {

class DemoMachine {
  public:
    /// A machine, or the sentence that says why the description can't be used.
    using Loaded = platform::Result<std::unique_ptr<DemoMachine>, std::string>;

    /// Reads a description file; pages it names as files are read from its folder.
    static Loaded load(const std::filesystem::path& file);
    /// Reads a description from text; pages named as files are read from `folder`.
    static Loaded fromText(std::string_view text, const std::filesystem::path& folder);

    DemoMachine(const DemoMachine&) = delete;
    DemoMachine& operator=(const DemoMachine&) = delete;

    const Sysfs& sysfs() const { return sysfs_; }
    NVMeAdmin& nvme() { return nvme_; }
    const Mounts& mounts() const { return mounts_; }
    const BlockProbe& blockProbe() const { return probe_; }
    const VolumeSpace& volumeSpace() const { return space_; }
    const Clock& clock() const { return clock_; }
    /// Benchmark files that write nothing of size and move the clock on instead.
    BenchFiles& benchFiles() { return benchFiles_; }
    /// The folder the machine's user works in, absolute; empty when not described.
    const std::string& workingDirectory() const { return workingDirectory_; }

    /// A connection to a disk that takes SCSI commands ("sda"), or the errno of a disk
    /// node that isn't there (ENOENT), as opening /dev/<name> would give.
    platform::Result<std::unique_ptr<platform::SCSIDrive>, int> openSCSI(
        std::string_view bsdName) const;

  private:
    struct Parts;
    explicit DemoMachine(Parts parts);
    static Loaded build(std::string_view text, const std::filesystem::path& folder,
                        const std::string& intro);

    DemoSysfs sysfs_;
    DemoNVMeAdmin nvme_;
    DemoMounts mounts_;
    DemoBlockProbe probe_;
    DemoVolumeSpace space_;
    DemoClock clock_;
    DemoBenchFiles benchFiles_{clock_};
    std::string workingDirectory_;
    // Mutable: a disk counts the commands it is sent and keeps its last sense.
    mutable std::map<std::string, SimATADisk, std::less<>> scsiDisks_;
    // Held by each command to a disk: a pass and a scan may talk to one at once.
    mutable std::mutex scsiLock_;
};

}  // namespace platform
