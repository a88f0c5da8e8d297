#include "cli/share_output.hpp"

#include <cstdlib>
#include <cstring>

#include "cli/exit_codes.hpp"
#include "platform/file_store.hpp"

namespace cli {

app::StatePaths sharePaths(bool demo) {
    auto paths = app::StatePaths::fromEnvironment([](const char* name) -> std::optional<std::string> {
        const char* value = std::getenv(name);
        return value ? std::optional<std::string>(value) : std::nullopt;
    });
    if (demo && !paths.data.empty()) paths.data /= "demo";
    return paths;
}

int writeShared(const std::string& data, const std::string& file, std::ostream& out, std::ostream& err) {
    if (file == "-") {
        out.write(data.data(), static_cast<std::streamsize>(data.size()));
        return exitOK;
    }
    if (auto done = platform::systemFiles().replace(file, data); !done) {
        err << "vantrel: couldn't write " << file << ": " << std::strerror(done.error().code) << ".\n";
        return exitOutputFailed;
    }
    err << "vantrel: wrote " << file << '\n';
    return exitOK;
}

}  // namespace cli
