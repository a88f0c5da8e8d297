// The demo machine's drives drawn as their owners would share them: a healthy NVMe SSD
// with a month of readings, a failing hard drive, and a USB drive whose health can't be
// read. The PDF's text must hold every section the plan gave the drive and its figures,
// on as many pages as the packer planned; the pages and the card must look as the stored
// references do, up to the anti-aliasing of glyph edges. Dates come from the demo
// machine's clock, held still, and the font from its file, so every run draws the same.
//
// VANTREL_UPDATE_GOLDEN=1 writes the references anew instead of comparing.
#include <gtest/gtest.h>

#include <QImage>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "app/demo/demo_files.hpp"
#include "app/scan/saved_scans.hpp"
#include "platform/file_store.hpp"
#include "app/store/state_files.hpp"
#include "reports/gather.hpp"
#include "reports/render/render.hpp"
#include "platform/tests/support/doubles.hpp"

namespace reports {
namespace {

namespace fs = std::filesystem;

std::string run(const std::string& command) {
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        std::array<char, 4096> buffer{};
        while (const std::size_t n = std::fread(buffer.data(), 1, buffer.size(), pipe)) out.append(buffer.data(), n);
        ::pclose(pipe);
    }
    return out;
}

bool hasPoppler() { return std::system("pdftotext -v >/dev/null 2>&1") == 0; }

// Pixels that differ only where a glyph's or a line's edge is smoothed: each differing
// pixel of one image must find a close match within one pixel in the other. What's left
// over is a real difference (a moved word, another colour, a missing line).
int realDifferences(const QImage& a, const QImage& b) {
    const auto close = [](QRgb x, QRgb y) {
        return std::abs(qRed(x) - qRed(y)) <= 48 && std::abs(qGreen(x) - qGreen(y)) <= 48 &&
               std::abs(qBlue(x) - qBlue(y)) <= 48;
    };
    const auto matchedNear = [&](const QImage& in, int x, int y, QRgb pixel) {
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx) {
                const int nx = x + dx, ny = y + dy;
                if (nx >= 0 && ny >= 0 && nx < in.width() && ny < in.height() && close(in.pixel(nx, ny), pixel)) return true;
            }
        }
        return false;
    };
    int differences = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb pa = a.pixel(x, y), pb = b.pixel(x, y);
            if (close(pa, pb)) continue;
            if (!matchedNear(b, x, y, pa) || !matchedNear(a, x, y, pb)) ++differences;
        }
    }
    return differences;
}

void matchesReference(const std::string& png, const std::string& name) {
    const fs::path reference = fs::path(VANTREL_REPORTS_GOLDEN) / (name + ".png");
    if (std::getenv("VANTREL_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(reference, std::ios::binary) << png;
        return;
    }
    const QImage drawn = QImage::fromData(QByteArray::fromStdString(png)).convertToFormat(QImage::Format_RGB32);
    const QImage expected = QImage(QString::fromStdString(reference.string())).convertToFormat(QImage::Format_RGB32);
    ASSERT_FALSE(expected.isNull()) << reference;
    ASSERT_EQ(drawn.size(), expected.size()) << name;
    const int differences = realDifferences(drawn, expected);
    EXPECT_EQ(differences, 0) << name << ": " << differences
                              << " pixels differ beyond anti-aliasing; VANTREL_UPDATE_GOLDEN=1 redraws the references";
}

class Golden : public ::testing::Test {
  protected:
    void SetUp() override {
        ::setenv("TZ", "UTC", 1);
        auto loaded = platform::DemoMachine::load(fs::path(VANTREL_DEMO_DATA) / "machine.json");
        ASSERT_TRUE(loaded) << loaded.error();
        demo_ = std::move(loaded.value());
        clock_ = std::make_unique<platform::doubles::TestClock>(
            std::chrono::floor<std::chrono::minutes>(demo_->clock().now()));
        folder_ = fs::temp_directory_path() / ("vantrel-golden-" + std::to_string(::getpid()));
        fs::create_directories(folder_);
    }
    void TearDown() override { fs::remove_all(folder_); }

    DriveShare share(const std::string& name, bool withHistory = false) {
        app::Machine machine = app::demoMachine(*demo_, drivekit::Locale{"en_US"});
        machine.clock = clock_.get();
        ShareRequest request{name, false, folder_ / "readings.json", folder_};
        if (withHistory) {
            // A month of hourly-kept readings, one a day, warming and wearing a little.
            const auto first = shareOf(machine, request);
            EXPECT_TRUE(first);
            std::vector<app::Reading> readings;
            for (int day = 30; day >= 1; --day) {
                app::Reading r;
                r.driveID = first->summary.id;
                r.date = std::chrono::time_point_cast<std::chrono::seconds>(clock_->now()) - std::chrono::hours(24 * day);
                r.tier = drivekit::Tier::healthy;
                r.score = 96;
                r.lifeLeft = 96;
                r.temperatureC = 34 + (day % 7);
                r.writtenBytes = std::uint64_t{27240842752000} - static_cast<std::uint64_t>(day) * std::uint64_t{40'000'000'000};
                readings.push_back(r);
            }
            EXPECT_TRUE(app::StateFiles::writeReadings(request.readings, readings));
        }
        auto made = shareOf(machine, request);
        EXPECT_TRUE(made);
        return std::move(made.value());
    }

    // The PDF's text and page count.
    void checkPDF(const DriveShare& drive, const std::vector<std::string>& figures) {
        const auto pdf = render::reportPDF(drive);
        ASSERT_TRUE(pdf);
        const fs::path file = folder_ / "report.pdf";
        std::ofstream(file, std::ios::binary) << *pdf;
        const std::string text = run("pdftotext -enc UTF-8 " + file.string() + " -");
        const render::Layout laid = render::layout(drive);
        for (const auto part : laid.plan.parts) {
            const std::string heading = part == ReportPlan::Part::summary ? drive.document.health.title
                                                                          : ReportPlan::heading(part);
            EXPECT_NE(text.find(heading), std::string::npos) << heading << " missing in\n" << text;
        }
        for (const auto& figure : figures) EXPECT_NE(text.find(figure), std::string::npos) << figure << " missing in\n" << text;
        std::istringstream info(run("pdfinfo " + file.string()));
        std::size_t pages = 0;
        for (std::string line; std::getline(info, line);) {
            if (line.starts_with("Pages:")) pages = std::stoul(line.substr(6));
        }
        EXPECT_EQ(pages, laid.pages.size());
        // Text, not pictures of text: every font travels inside the file (the fifth
        // column from the end of each of pdffonts' rows says "yes").
        std::istringstream fonts(run("pdffonts " + file.string()));
        int embedded = 0;
        for (std::string line; std::getline(fonts, line);) {
            std::istringstream words(line);
            std::vector<std::string> columns{std::istream_iterator<std::string>(words), {}};
            if (columns.size() < 6 || !line.starts_with("DejaVu")) continue;
            EXPECT_EQ(columns[columns.size() - 5], "yes") << line;
            ++embedded;
        }
        EXPECT_GE(embedded, 1);
    }

    std::unique_ptr<platform::DemoMachine> demo_;
    std::unique_ptr<platform::doubles::TestClock> clock_;
    fs::path folder_;
};

TEST_F(Golden, HealthyNVMeWithAMonthOfReadings) {
    const DriveShare drive = share("nvme0n1", true);
    EXPECT_EQ(drive.context.readings.size(), 30u);
    const auto parts = render::layout(drive).plan.parts;
    EXPECT_NE(std::find(parts.begin(), parts.end(), ReportPlan::Part::history), parts.end());
    if (hasPoppler()) {
        checkPDF(drive, {"Samsung SSD 980 PRO", "/dev/nvme0n1", "96", "38 \u00B0C", "3,120", "27.24 TB",
                         "30 readings", "\u2022\u2022\u2022\u2022345K", "NVMe SMART, read live from the internal SSD."});
    }
    matchesReference(*render::reportPNG(drive, 1.0, 0), "nvme0n1-page1");
    matchesReference(*render::cardPNG(drive, render::Card::health, 1.0), "nvme0n1-card");
}

TEST_F(Golden, FailingHardDrive) {
    const DriveShare drive = share("sda");
    if (hasPoppler()) {
        checkPDF(drive, {"ST2000DM008-2FR102", "This drive needs attention.", "20", "41 \u00B0C", "38,211",
                         "Offline uncorrectable", "173,429,612", "\u2022\u2022\u2022\u2022RT4K"});
    }
    matchesReference(*render::reportPNG(drive, 1.0, 0), "sda-page1");

    // Asked for, the serial is whole, in the document as on the page.
    const auto json = ShareItems::healthReport(drive).file({ShareFormat::json, true});
    ASSERT_TRUE(json);
    EXPECT_NE(json->data.find("\"serial\": \"ZFL2RT4K\""), std::string::npos) << json->data;
    EXPECT_NE(json->data.find("\"serialMasked\": false"), std::string::npos);
    EXPECT_EQ(json->name, "Vantrel Health Report \u2013 ST2000DM008-2FR102 \u2013 2026-03-14.json");
}

TEST_F(Golden, FailingHardDriveWithItsScanAndBenchmark) {
    const DriveShare first = share("sda");
    app::SavedScan scan;
    scan.driveKey = "device:sda";
    scan.date = first.context.generated - std::chrono::hours(2);
    scan.result.mode = drivekit::surface_scan::Mode::full;
    scan.result.totalBlocks = 3907029168;
    scan.result.readsPlanned = scan.result.readsDone = 1000;
    scan.result.bytesRead = 2000398934016;
    scan.result.seconds = 12000;
    scan.result.slowReads = 7;
    scan.result.unreadable = {173429612, 173429740};
    scan.result.failedReads = 2;
    app::SavedScans scans;
    EXPECT_FALSE(app::ScanStore::save(platform::systemFiles(), scans, scan, app::ScanStore::file(folder_)));
    app::SavedBenchmarks benchmarks;
    drivekit::BenchRuns runs;
    runs.of(drivekit::BenchTest::seqRead) = {180, 182, 181};
    runs.of(drivekit::BenchTest::seqWrite) = {170, 171, 169};
    runs.of(drivekit::BenchTest::rndRead) = {0.8, 0.9, 0.85};
    runs.of(drivekit::BenchTest::rndWrite) = {1.6, 1.7, 1.5};
    EXPECT_FALSE(app::BenchStore::save(benchmarks, app::SavedBenchmark::of(first.summary, scan.date, runs),
                                       app::BenchStore::file(folder_)));

    const DriveShare drive = share("sda");
    ASSERT_TRUE(drive.document.surfaceScan && drive.document.benchmark);
    if (hasPoppler()) checkPDF(drive, {"173,429,612, 173,429,740", "181 MB/s", "Unreadable reads"});
    for (const auto card : {render::Card::scan, render::Card::benchmark}) {
        const auto png = render::cardPNG(drive, card, 1.0);
        ASSERT_TRUE(png);
        EXPECT_EQ(QImage::fromData(QByteArray::fromStdString(*png)).size(), QSize(600, 315));
    }
}

TEST_F(Golden, USBDriveWhoseHealthCantBeRead) {
    const DriveShare drive = share("sde");
    EXPECT_EQ(drive.summary.tier, drivekit::Tier::limited);
    if (hasPoppler()) checkPDF(drive, {"Backup", "/dev/sde", "no score", "Failed commands"});
    const auto page = render::reportPNG(drive, 1.0, 0);
    matchesReference(*page, "sde-page1");

    // The comparison forgives smoothed edges, not a page that moved by a few points.
    const QImage drawn = QImage::fromData(QByteArray::fromStdString(*page)).convertToFormat(QImage::Format_RGB32);
    EXPECT_GT(realDifferences(drawn, drawn.copy(0, 3, drawn.width(), drawn.height())), 500);
}

}  // namespace
}  // namespace reports
