// `vantrel --demo`: the option is read before the command, a broken description stops with
// one sentence and the usage code, and the commands run on the shipped machine as they do
// on real drives.
#include "cli/cli.hpp"
#include "drivekit/core/json.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "cli/arguments.hpp"
#include "cli/exit_codes.hpp"
#include "cli/tests/support/outcome.hpp"

namespace {

using cli::test::Outcome;
using cli::test::runDemo;

TEST(DemoOption, ChecksTheShippedDrivesLikeRealOnes) {
    const Outcome nvme = runDemo({"--demo", "check", "nvme0n1"});
    EXPECT_EQ(nvme.code, cli::exitOK) << nvme.err;
    EXPECT_NE(nvme.out.find("/dev/nvme0n1"), std::string::npos) << nvme.out;
    EXPECT_NE(nvme.out.find("This drive is healthy."), std::string::npos) << nvme.out;

    // The drive's header comes from discovery, which knows the enclosure's tunnel.
    const Outcome tunnelled = runDemo({"--demo", "check", "nvme1n1"});
    EXPECT_NE(tunnelled.out.find("(Thunderbolt/USB4 NVMe"), std::string::npos) << tunnelled.out;

    const Outcome refused = runDemo({"--demo", "check", "sde"});
    EXPECT_EQ(refused.code, cli::exitNotSupported) << refused.out;
    EXPECT_NE(refused.err.find("doesn't pass health requests through"), std::string::npos)
        << refused.err;

    // A card that reports its name shows it as its model.
    const Outcome card = runDemo({"--demo", "check", "mmcblk0"});
    EXPECT_NE(card.out.find("Model                             SD64G"), std::string::npos) << card.out;
    EXPECT_EQ(card.out.find("report its model"), std::string::npos) << card.out;

    const Outcome absent = runDemo({"--demo", "check", "sdz"});
    EXPECT_EQ(absent.code, cli::exitNoDevice);
}

// The commands that parse their own words run on the demo machine too, rather than being
// taken for unknown commands after --demo.
TEST(DemoOption, ScanAndBenchRunOnTheDemoMachine) {
    const Outcome scan = runDemo({"--demo", "scan", "sdz"});
    EXPECT_EQ(scan.code, cli::exitNoDevice) << scan.err;
    EXPECT_NE(scan.err.find("no such device: /dev/sdz"), std::string::npos) << scan.err;
    const Outcome bench = runDemo({"--demo", "bench", "/nonexistent"});
    EXPECT_NE(bench.err.find("/nonexistent isn't a folder"), std::string::npos) << bench.err;
}

// Every sentence a user reads on Linux says the Linux truth: no Mac, no macOS, none of its
// registry's fields in the full report.
TEST(DemoOption, NoOutputNamesTheMac) {
    const std::regex mac(R"(\bmacOS\b|\bMac\b|Mac's|AppleFabric|appleSilicon|IOReturn)");
    std::vector<std::vector<std::string_view>> commands = {{"--demo", "list"}, {"--demo", "list", "--json"}};
    for (const char* name : {"nvme0n1", "nvme1n1", "sda", "sdb", "sdc", "sdd", "sde", "mmcblk0"}) {
        for (const char* form : {"", "--json", "--json=report"}) {
            std::vector<std::string_view> args{"--demo", "check", name};
            if (*form) args.emplace_back(form);
            commands.push_back(args);
        }
    }
    for (const auto& args : commands) {
        const Outcome r = runDemo(args);
        EXPECT_FALSE(std::regex_search(r.out + r.err, mac)) << args[2] << '\n' << r.out << r.err;
    }
}

// Strings from drives and file systems reach the terminal escaped, whatever command
// prints them; JSON keeps them exact, in its own escapes.
TEST(DemoOption, EscapeSequencesFromADriveNeverReachTheTerminal) {
    std::ifstream shipped(std::string(VANTREL_DEMO_DATA) + "/machine.json");
    std::string text{std::istreambuf_iterator<char>(shipped), std::istreambuf_iterator<char>()};
    const auto swap = [&text](const std::string& from, const std::string& to) {
        const auto at = text.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        text.replace(at, from.size(), to);
    };
    // A memory card's volume label, which names the card in every listing.
    swap(R"("label": "EOS_DIGITAL")", R"("label": "Evil\u001b]0;owned\u0007\u001b[2J\rvantrel: fake\nvantrel: forged")");
    const std::string file = std::filesystem::temp_directory_path() /
                             ("vantrel-escape-" + std::to_string(::getpid()) + ".json");
    std::ofstream(file) << text;

    for (const std::vector<std::string_view>& args :
         {std::vector<std::string_view>{"list"}, {"check", "mmcblk0"}}) {
        const Outcome human = runDemo(args, file);
        EXPECT_EQ(human.out.find('\x1b'), std::string::npos) << human.out;
        EXPECT_EQ(human.err.find('\x1b'), std::string::npos) << human.err;
        // A line break inside the label can't start a line of its own.
        EXPECT_EQ(human.out.find("\nvantrel: forged"), std::string::npos) << human.out;
        // The list cuts long names to fit its columns; the check shows the label whole.
        EXPECT_NE(human.out.find(args[0] == "list" ? R"(Evil\x1b]0;owned\x07)"
                                                   : R"(Evil\x1b]0;owned\x07\x1b[2J\x0dvantrel: fake)"),
                  std::string::npos)
            << human.out;
    }
    const Outcome json = runDemo({"list", "--json"}, file);
    EXPECT_NE(json.out.find(R"(Evil\u001b]0;owned\u0007\u001b[2J\rvantrel: fake\nvantrel: forged)"),
              std::string::npos)
        << json.out;
    std::filesystem::remove(file);
}

}  // namespace
