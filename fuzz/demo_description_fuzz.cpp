// A demo machine's description, as anyone may hand it to `vantrel --demo=FILE`: every
// input is a machine or one sentence, never an exception. Page files are looked for in
// an empty folder.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/demo/demo_machine.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto loaded = platform::DemoMachine::fromText(text, "/nonexistent-demo-folder");
    if (!loaded) {
        const std::string& sentence = loaded.error();
        if (sentence.empty() || sentence.back() != '.') std::abort();
    }
    return 0;
}
