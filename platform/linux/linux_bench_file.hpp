#pragma once
// The benchmark's test file on Linux: O_DIRECT transfers from one page-aligned buffer of
// random bytes, and fsync for durability.
#include "platform/bench_file.hpp"

namespace platform {

class LinuxBenchFiles final : public BenchFiles {
  public:
    BenchFolder folder(const std::string& path) const override;
    std::unique_ptr<BenchFile> create(const std::string& path, int& error) override;
    bool remove(const std::string& path) override;
};

}  // namespace platform
