#pragma once
// The demo machine's benchmark files: the test file is made, and removed, in the real
// folder asked for (so a front end can see it come and go), but no byte reaches it.
// Every transfer moves the demo's clock on by the time a SATA SSD would take for it, so a
// benchmark on the demo gives a drive's figures at once and writes nothing of size.
#include "platform/bench_file.hpp"
#include "platform/demo/demo_clock.hpp"

namespace platform {

class DemoBenchFiles final : public BenchFiles {
  public:
    explicit DemoBenchFiles(const DemoClock& clock) : clock_(clock) {}

    /// Writable folders have room to spare; a folder this user can't write to is read-only.
    BenchFolder folder(const std::string& path) const override;
    std::unique_ptr<BenchFile> create(const std::string& path, int& error) override;
    bool remove(const std::string& path) override;

  private:
    const DemoClock& clock_;
};

}  // namespace platform
