// vantrel report, card and readings on the demo machine: the words they take and what
// they refuse. What the files hold is the reports' own tests' concern.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "cli/cli.hpp"
#include "cli/draw/draw_commands.hpp"
#include "cli/exit_codes.hpp"
#include "cli/tests/support/outcome.hpp"

namespace {

using cli::test::Outcome;

class ReportCommand : public ::testing::Test {
  protected:
    void SetUp() override {
        data_ = std::filesystem::temp_directory_path() / ("vantrel-report-cli-" + std::to_string(::getpid()));
        std::filesystem::create_directories(data_);
        ::setenv("XDG_DATA_HOME", data_.c_str(), 1);
        cli::useDrawing();
    }
    void TearDown() override {
        ::unsetenv("XDG_DATA_HOME");
        std::filesystem::remove_all(data_);
    }
    static Outcome demo(std::vector<std::string_view> args) {
        args.insert(args.begin(), "--demo");
        return cli::test::runDemo(std::move(args));
    }
    std::filesystem::path data_;
};

TEST_F(ReportCommand, WritesTheDocumentWithTheSerialMaskedUnlessAsked) {
    const Outcome masked = demo({"report", "/dev/sda", "--format", "json", "-o", "-"});
    ASSERT_EQ(masked.code, cli::exitOK) << masked.err;
    EXPECT_NE(masked.out.find("\"serialMasked\": true"), std::string::npos) << masked.out;
    EXPECT_EQ(masked.out.find("ZFL2RT4K"), std::string::npos);
    const Outcome whole = demo({"report", "sda", "--format=json", "--full-serial", "-o", "-"});
    EXPECT_NE(whole.out.find("\"serial\": \"ZFL2RT4K\""), std::string::npos) << whole.out;

    const auto file = data_ / "sda.pdf";
    const Outcome pdf = demo({"report", "sda", "-o", file.string()});
    EXPECT_EQ(pdf.code, cli::exitOK) << pdf.err;
    EXPECT_GT(std::filesystem::file_size(file), 10000u);
}

TEST_F(ReportCommand, RefusesWhatItCantMake) {
    EXPECT_EQ(demo({"report", "sda", "--format", "docx"}).code, cli::exitUsage);
    EXPECT_EQ(demo({"report"}).code, cli::exitUsage);
    EXPECT_EQ(demo({"report", "sdz", "-o", "-"}).code, cli::exitNoDevice);
    const Outcome noScan = demo({"card", "sda", "--scan", "-o", "-"});
    EXPECT_EQ(noScan.code, cli::exitNoDevice);
    EXPECT_NE(noScan.err.find("run vantrel scan sda first"), std::string::npos) << noScan.err;
    EXPECT_EQ(demo({"readings"}).code, cli::exitUsage);
}

}  // namespace
