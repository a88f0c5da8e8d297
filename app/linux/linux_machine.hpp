#pragma once
// The real Linux machine: every platform interface wired to its Linux implementation, in
// one place that the command line, the desktop application and the service share. It
// owns what the `Machine` record points at, so it lives as long as the front end runs.
#include <memory>

#include "app/machine.hpp"

namespace app {

class LinuxMachine {
public:
    LinuxMachine();
    ~LinuxMachine();
    LinuxMachine(const LinuxMachine&) = delete;
    LinuxMachine& operator=(const LinuxMachine&) = delete;

    /// The record of interfaces, with the careful USB check wired in.
    Machine& machine();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace app
