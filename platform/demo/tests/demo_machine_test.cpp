// The shipped demo machine, read by DriveKit's own discovery and health readers: if these
// pass, the demo shows what the product shows on real hardware of the same make-up.
#include "platform/demo/demo_machine.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>

#include "drivekit/health/ata_commands.hpp"
#include "drivekit/health/ata_smart_lib.hpp"
#include "drivekit/health/nvme_reader.hpp"
#include "drivekit/health/sat.hpp"
#include "drivekit/health/self_test.hpp"

namespace {

using namespace drivekit;
using platform::DemoMachine;

const std::string shippedFile = std::string(VANTREL_DEMO_DATA) + "/machine.json";

class ShippedMachine : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        auto loaded = DemoMachine::load(shippedFile);
        ASSERT_TRUE(loaded) << loaded.error();
        machine = std::move(loaded).value().release();
    }
    static void TearDownTestSuite() {
        delete machine;
        machine = nullptr;
    }

    static std::unique_ptr<SCSIDrive> open(std::string_view name) {
        auto opened = machine->openSCSI(name);
        EXPECT_TRUE(opened) << name;
        return opened ? std::move(opened).value() : nullptr;
    }
    static ATASMARTLib::Connect connect() {
        return [](std::string_view name) -> std::unique_ptr<SCSIDrive> {
            auto opened = machine->openSCSI(name);
            return opened ? std::move(opened).value() : nullptr;
        };
    }

    static inline DemoMachine* machine = nullptr;
};

TEST_F(ShippedMachine, FailingSATADiskAnswersLikeADrive) {
    auto drive = open("sda");
    ASSERT_TRUE(drive);
    const auto identified = ATACommands::ataIdentify(*drive);
    ASSERT_TRUE(identified);
    EXPECT_EQ(identified->variant, SAT::Variant::sixteen);
    EXPECT_EQ(identified->identity.model, "ST2000DM008-2FR102");

    std::map<int, std::uint64_t> raw;
    for (const auto& attribute : ATACommands::smart(*drive, identified->variant))
        raw[attribute.id] = attribute.raw;
    EXPECT_EQ(raw.at(197), 24u);

    const auto log = ATASMARTLib::selfTestLog(connect(), "sda");
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.front().outcome, SelfTest::Outcome::readFailure);
    EXPECT_EQ(log.front().failingLBA, 173'429'612u);
    EXPECT_EQ(SMARTStatusRules::ata(connect(), "sda"), SMARTStatus::verified);

    // The self-test's failing block can't be read either.
    Bytes read10{0x28, 0, 0x0A, 0x56, 0x53, 0x6C, 0, 0, 1, 0};  // LBA 173429612, one block
    EXPECT_FALSE(drive->command(read10, 512, 4.0));
    read10[5] = 0x00;
    const auto healthy = drive->command(read10, 512, 4.0);
    ASSERT_TRUE(healthy);
    EXPECT_EQ(healthy->size(), 512u);
}

TEST_F(ShippedMachine, BridgeThatDoesNotPassATARefusesWithIllegalRequest) {
    auto drive = open("sde");
    ASSERT_TRUE(drive);
    EXPECT_TRUE(ATACommands::inquiry(*drive));  // the bridge itself answers
    EXPECT_FALSE(ATACommands::ataIdentify(*drive));
    const auto refused = drive->command(SAT::smartReadData(SAT::Variant::sixteen), 512, 4.0);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message, "The drive refused the command.");
    const auto lines = drive->log().lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find("ILLEGAL REQUEST"), std::string::npos) << lines.back();
    EXPECT_EQ(SMARTStatusRules::ata(connect(), "sde"), SMARTStatus::notSupported);

    const auto absent = machine->openSCSI("sdz");
    ASSERT_FALSE(absent);
    EXPECT_EQ(absent.error(), ENOENT);
}

// ---------------------------------------------------------------- damaged descriptions

struct Damaged {
    const char* text;
    const char* says;
};

TEST(DemoMachineDescription, DamagedDescriptionsAreRefusedWithOneSentence) {
    const std::vector<Damaged> cases{
        {"{\"demoMachineVersion\": 1, ", "isn't valid JSON"},
        {R"({"demoMachineVersion": 1, "sysfs": {}, "nvmee": {}})", "unknown entry \"nvmee\""},
        {R"({"demoMachineVersion": 1, "sysfs": {"/sys/x": {"a": "1"}, "/sys/x/a": {"b": "2"}}})",
         "\"/sys/x/a/b\" is given twice or lies inside a file or link"},
        {R"({"demoMachineVersion": 1, "sysfs": {}, "scsi": {"sda": {"blocks": 8, "identify": {"file": "no-such.bin"}}}})",
         "\"scsi.sda.identify\" names a file that can't be read"},
        {R"({"demoMachineVersion": 1, "sysfs": {}, "volumeSpace": {"/": {"free": 9, "total": 1}}})",
         "can't be more than the total"},
    };
    for (const auto& damaged : cases) {
        const auto loaded = DemoMachine::fromText(damaged.text, VANTREL_DEMO_DATA);
        ASSERT_FALSE(loaded) << damaged.text;
        const std::string& sentence = loaded.error();
        EXPECT_TRUE(sentence.starts_with("The demo machine can't be used: ")) << sentence;
        EXPECT_NE(sentence.find(damaged.says), std::string::npos) << sentence;
        EXPECT_TRUE(sentence.ends_with(".")) << sentence;
        EXPECT_EQ(sentence.find('\n'), std::string::npos) << sentence;
    }
    const auto missing = DemoMachine::load("/nonexistent/machine.json");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(),
              "The demo machine /nonexistent/machine.json can't be used: there is no such file.");
}

TEST(DemoMachineDescription, PagesMayBeFilesBesideTheDescription) {
    // The shipped fixture folder holds no page files, so use the NVMe captures of the tests.
    const auto loaded = DemoMachine::fromText(
        R"({"demoMachineVersion": 1, "sysfs": {},
            "nvme": {"nvme0": {"smartLog": {"file": "qemu-7.2-smart-log.bin"},
                               "identifyController": {"file": "qemu-7.2-id-ctrl.bin"}}}})",
        std::string(VANTREL_TEST_DATA) + "/nvme");
    ASSERT_TRUE(loaded) << loaded.error();
    const auto reading = NVMeReader::read("nvme0n1", loaded.value()->nvme());
    ASSERT_TRUE(reading);
    EXPECT_FALSE(reading->model.empty());
}

// A description from someone else, or a file that isn't one: every way it can go wrong is
// one sentence, never an exception, a hang or a read outside the description's folder.
TEST(DemoMachineDescription, HostileFilesAreRefusedWithOneSentence) {
    namespace fs = std::filesystem;
    const fs::path root = fs::temp_directory_path() / ("vantrel-demo-" + std::to_string(::getpid()));
    fs::remove_all(root);
    fs::create_directories(root / "desc");
    const auto write = [](const fs::path& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    };
    write(root / "secret.bin", std::string(512, 'S'));
    write(root / "desc" / "page.bin", std::string(512, 'P'));
    fs::create_symlink(root / "secret.bin", root / "desc" / "escape.bin");
    ASSERT_EQ(::mkfifo((root / "desc" / "fifo.json").c_str(), 0600), 0);

    const auto refusal = [&](const fs::path& file) {
        const auto loaded = DemoMachine::load(file);
        EXPECT_FALSE(loaded) << file;
        return loaded ? std::string() : loaded.error();
    };
    EXPECT_NE(refusal("/proc/self/mem").find("the file can't be read."), std::string::npos);
    EXPECT_NE(refusal(root / "desc" / "fifo.json").find("isn't a regular file."),
              std::string::npos);
    EXPECT_NE(refusal(root / "desc").find("isn't a regular file."), std::string::npos);

    write(root / "desc" / "huge.json", std::string(3u << 20, ' '));
    EXPECT_NE(refusal(root / "desc" / "huge.json").find("larger than 2 MB."), std::string::npos);
    write(root / "desc" / "deep.json", R"({"demoMachineVersion": 1, "about": )" +
                                           std::string(100000, '[') + std::string(100000, ']') + "}");
    EXPECT_NE(refusal(root / "desc" / "deep.json").find("nests deeper than 16 levels."),
              std::string::npos);
    write(root / "desc" / "big-number.json",
          R"({"demoMachineVersion": 1, "sysfs": {}, "scsi": {"sda": {"blocks": 1e400}}})");
    EXPECT_NE(refusal(root / "desc" / "big-number.json").find("a number too large"),
              std::string::npos);

    const auto withPage = [](const std::string& name) {
        return R"({"demoMachineVersion": 1, "sysfs": {}, "nvme": {"nvme0": {"smartLog": {"file": ")" +
               name + R"("}, "identifyController": "00"}}})";
    };
    EXPECT_TRUE(DemoMachine::fromText(withPage("page.bin"), root / "desc"));
    for (const std::string& name : {(root / "secret.bin").string(), std::string("../secret.bin"),
                                   std::string("sub/../../secret.bin"), std::string("escape.bin")}) {
        const auto loaded = DemoMachine::fromText(withPage(name), root / "desc");
        ASSERT_FALSE(loaded) << name;
        EXPECT_NE(loaded.error().find("must name a file in the description's folder"),
                  std::string::npos)
            << loaded.error();
    }
    fs::remove_all(root);
}

}  // namespace
