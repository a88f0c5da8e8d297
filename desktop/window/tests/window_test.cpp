// The window over the demo machine, under Xvfb where it is installed: every page and tab in
// the light and the dark appearance, with a screenshot of each in the build tree. A page
// fails when it shows a leftover placeholder, an empty table or chart while the store has
// data for it, clipped text, or a control without an accessible name.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QChartView>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

#include "app/store/state_files.hpp"
#include "app/store/store_session.hpp"
#include "app/writes/app_writes.hpp"
#include "desktop/model/page_wording.hpp"
#include "desktop/tests/support/demo_drives.hpp"
#include "desktop/window/appearance.hpp"
#include "desktop/window/main_window.hpp"
#include "desktop/window/job.hpp"
#include "desktop/window/pages.hpp"
#include "desktop/window/run_pages.hpp"
#include "desktop/window/settings_page.hpp"
#include "platform/linux/linux_proc_files.hpp"

// On X, Qt talks to the session bus (accessibility, the desktop's theme) through libdbus,
// which keeps a buffer to the end of the process; the leak checker is told so.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libdbus-1.so\n";
}

namespace desktop {
namespace {

// One application for the whole run, ended before the process exits: Qt's devices must go
// while Gui is still loaded.
// The window runs on an X server of its own (Xvfb), as it would on a desktop, where one is
// installed; else on Qt's offscreen platform.
class QtApplication final : public ::testing::Environment {
  public:
    void SetUp() override {
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
            const auto display = startXvfb();
            if (display) {
                ::setenv("DISPLAY", display->c_str(), 1);
                qputenv("QT_QPA_PLATFORM", "xcb");
            } else {
                qputenv("QT_QPA_PLATFORM", "offscreen");
            }
        }
        app = std::make_unique<QApplication>(argc, argv);
    }
    void TearDown() override {
        app.reset();
        if (xvfb_ > 0) {
            ::kill(xvfb_, SIGTERM);
            ::waitpid(xvfb_, nullptr, 0);
        }
    }
    static inline std::unique_ptr<QApplication> app;

  private:
    // Xvfb picks a free display and writes its number on the pipe it is given.
    std::optional<std::string> startXvfb() {
        if (::access("/usr/bin/Xvfb", X_OK) != 0) return std::nullopt;
        int pipe[2];
        if (::pipe(pipe) != 0) return std::nullopt;
        xvfb_ = ::fork();
        if (xvfb_ == 0) {
            ::dup2(pipe[1], 3);
            const int null = ::open("/dev/null", O_WRONLY);
            ::dup2(null, 2);
            ::execl("/usr/bin/Xvfb", "Xvfb", "-displayfd", "3", "-nolisten", "tcp", "-screen", "0", "1600x1200x24",
                    static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(pipe[1]);
        std::string number;
        char c = 0;
        while (xvfb_ > 0 && ::read(pipe[0], &c, 1) == 1 && c != '\n') number += c;
        ::close(pipe[0]);
        if (number.empty()) return std::nullopt;
        return ":" + number;
    }
    pid_t xvfb_ = -1;
    int argc = 1;
    char name[14] = "desktop_tests";
    char* argv[2] = {name, nullptr};
};
[[maybe_unused]] const auto* const qtApplication = ::testing::AddGlobalTestEnvironment(new QtApplication);

QApplication& application() { return *QtApplication::app; }

void settle() {
    for (int i = 0; i < 5; ++i) QApplication::processEvents();
}

// Texts that only a page left unfinished shows.
bool placeholder(const QString& text) {
    for (const char* mark : {"TODO", "TBD", "FIXME", "Lorem", "placeholder", "%@", "%lld", "Coming soon"}) {
        if (text.contains(QLatin1String(mark), Qt::CaseInsensitive)) return true;
    }
    return false;
}

std::vector<std::string> problems(QWidget& root) {
    std::vector<std::string> found;
    const auto where = [](const QWidget* widget) {
        return (widget->metaObject()->className() + std::string(" '") + widget->accessibleName().toStdString() + "'");
    };
    for (auto* label : root.findChildren<QLabel*>()) {
        if (!label->isVisible()) continue;
        const QString text = label->text();
        if (placeholder(text)) found.push_back("placeholder: " + text.toStdString());
        if (text.isEmpty() && label->pixmap().isNull()) found.push_back("empty label beside: " + where(label->parentWidget()));
        const bool clipped = label->wordWrap() ? label->heightForWidth(label->width()) > label->height()
                                               : label->sizeHint().width() > label->width() ||
                                                     label->sizeHint().height() > label->height();
        if (clipped) found.push_back("clipped: " + text.toStdString());
    }
    for (auto* button : root.findChildren<QAbstractButton*>()) {
        if (!button->isVisible() || button->text().isEmpty()) continue;
        if (button->sizeHint().width() > button->width()) found.push_back("clipped: " + button->text().toStdString());
    }
    for (auto* table : root.findChildren<QTableWidget*>()) {
        if (!table->isVisible()) continue;
        if (table->rowCount() == 0) found.push_back("empty table: " + where(table));
        // A cell whose text, wrapped at its column's width, is taller than its row is cut off.
        for (int row = 0; row < table->rowCount(); ++row) {
            for (int column = 0; column < table->columnCount(); ++column) {
                const auto* item = table->item(row, column);
                if (item == nullptr) continue;
                const QRect cell = table->visualItemRect(item);
                const QRect text = table->fontMetrics().boundingRect(QRect(0, 0, cell.width() - 6, 100'000),
                                                                     Qt::TextWordWrap, item->text());
                if (text.width() > cell.width() - 6 || text.height() > cell.height()) {
                    found.push_back("clipped cell: " + item->text().toStdString());
                }
            }
        }
    }
    for (auto* chart : root.findChildren<QChartView*>()) {
        if (chart->isVisible() && chart->chart()->series().isEmpty()) found.push_back("empty chart: " + where(chart));
    }
    for (auto* widget : root.findChildren<QWidget*>()) {
        const bool control = qobject_cast<QAbstractButton*>(widget) || qobject_cast<QComboBox*>(widget) ||
                             qobject_cast<QSlider*>(widget) || qobject_cast<QAbstractSpinBox*>(widget) ||
                             qobject_cast<QListWidget*>(widget) || qobject_cast<QTableWidget*>(widget) ||
                             qobject_cast<QTabWidget*>(widget) || qobject_cast<QChartView*>(widget);
        // Qt's own parts (a tab bar's scroll arrows, a spin box's line edit) are named by Qt.
        if (!control || !widget->isVisible() || widget->objectName().startsWith(QLatin1String("qt_"))) continue;
        const auto* button = qobject_cast<QAbstractButton*>(widget);
        if (!qobject_cast<QChartView*>(widget) && !(widget->focusPolicy() & Qt::TabFocus)) {
            found.push_back("out of the keyboard's reach: " + where(widget));
        }
        if (widget->accessibleName().isEmpty() && (button == nullptr || button->text().isEmpty())) {
            if (widget->parentWidget() && qobject_cast<QTabBar*>(widget->parentWidget())) continue;
            found.push_back("no accessible name: " + where(widget));
        }
    }
    return found;
}

class Window : public ::testing::Test {
  protected:
    void SetUp() override {
        application();
        ASSERT_TRUE(home.isValid());
        const std::string root = home.path().toStdString();
        setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (root + "/config").c_str(), 1);
        demo = testing::demoDrives();
        paths = app::StoreSession::pathsFor(true);
        // A month of daily readings, so that History and Forecast have something to draw.
        app::StateFiles::writeReadings(paths.readings(),
                                       testing::dailyHistory(demo.drives, std::chrono::system_clock::now(), 30));
        // And a history of writes: today's slot and two days before.
        const auto calendar = drivekit::WriteCalendar::local();
        const auto today = *calendar.startOfDay(std::chrono::system_clock::now());
        app::LoadedWrites writes;
        writes.history.slots.push_back({today, {{"app:firefox", 3'000'000'000}, {"system", 1'000'000'000}}});
        writes.history.days.push_back({*calendar.addingDays(today, -2), {{"tool:/usr/bin/rsync", 7'000'000'000}}});
        ASSERT_FALSE(app::WritesFiles::save(app::AppWritesFiles::in(paths.data), writes));
        // And the internal SSD's last scan and benchmark.
        const auto& ssd = testing::byName(demo.drives, "nvme0n1");
        app::SavedScans scans;
        app::SavedScan scan;
        scan.driveKey = "device:nvme0n1";
        scan.driveName = ssd.name;
        scan.result.readsPlanned = scan.result.readsDone = 2048;
        scan.result.seconds = 41;
        ASSERT_FALSE(app::ScanStore::save(platform::systemFiles(), scans, scan, app::ScanStore::file(paths.data)));
        app::SavedBenchmarks benchmarks;
        auto bench = app::SavedBenchmark::of(ssd, std::chrono::system_clock::now(), {});
        bench.runs.of(drivekit::BenchTest::seqRead) = {3100, 3200, 3150};
        bench.runs.of(drivekit::BenchTest::seqWrite) = {2500, 2600, 2550};
        bench.runs.of(drivekit::BenchTest::rndRead) = {60, 62, 61};
        bench.runs.of(drivekit::BenchTest::rndWrite) = {150, 155, 152};
        ASSERT_FALSE(app::BenchStore::save(benchmarks, bench, app::BenchStore::file(paths.data)));
        session = std::make_unique<app::StoreSession>(*demo.machine, true, paths, &application(),
                                                      app::StoreSession::Hooks{});
        bool done = false;
        session->store().refresh([&] { done = true; });
        for (int i = 0; i < 200 && !done; ++i) QApplication::processEvents(QEventLoop::AllEvents, 10);
        ASSERT_TRUE(done);
        context = std::make_unique<WindowContext>(
            WindowContext{session->store(), session->timers(), drivekit::Locale{"en_US"}, paths, 0, {}, {}, {}, nullptr, nullptr, {}, {}});
        // The demo machine has no /proc of its own: the Swap page and the footer get figures
        // made up here.
        context->system = [] {
            app::SystemStats stats;
            stats.swapUsedBytes = 1'200'000'000;
            stats.swapTotalBytes = 4'000'000'000;
            stats.swapOutBytesSinceBoot = 9'000'000'000;
            stats.selfWrittenBytes = 12'000'000;
            stats.selfCPUPercent = 0.04;
            return std::optional(stats);
        };
        context->drawPrefix = {"--demo"};
        context->machine = demo.machine.get();
        context->ownProc = &ownProc;
        context->saveAs = [this](const QString& suggested, const QString&) { return home.filePath(suggested); };
        system = QApplication::palette();
        window = std::make_unique<MainWindow>(*context, MainWindow::Options{false, system, true, true});
        window->show();
        settle();
    }
    void TearDown() override {
        window.reset();
        session.reset();
        applyAppearance(app::Prefs::Appearance::system, system);
    }

    template <typename T>
    T* named(const QString& name) {
        for (auto* widget : window->findChildren<T*>()) {
            if (widget->accessibleName() == name || widget->property("text").toString() == name) return widget;
        }
        ADD_FAILURE() << "no control named " << name.toStdString();
        return nullptr;
    }

    QTemporaryDir home;
    platform::LinuxProcFiles ownProc;
    testing::DemoDrives demo;
    app::StatePaths paths;
    std::unique_ptr<app::StoreSession> session;
    std::unique_ptr<WindowContext> context;
    std::unique_ptr<MainWindow> window;
    QPalette system;
};

QString q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

void choose(MainWindow& window, const QString& name) {
    auto* list = window.driveList();
    for (int row = 0; row < list->count(); ++row) {
        if (list->item(row)->text().startsWith(name)) list->setCurrentRow(row);
    }
}

int rowOf(app::DriveStore& store, const std::string& bsdName) {
    const auto drives = store.visibleDrives();
    for (std::size_t row = 0; row < drives.size(); ++row) {
        if (drives[row].bsdName == bsdName) return static_cast<int>(row);
    }
    return -1;
}

QStringList texts(QWidget* page) {
    QStringList all;
    for (auto* label : page->findChildren<QLabel*>()) {
        if (label->isVisible()) all << label->text();
    }
    return all;
}

QPushButton* button(QWidget* page, std::string_view text) {
    for (auto* button : page->findChildren<QPushButton*>()) {
        if (button->text() == q(text)) return button;
    }
    ADD_FAILURE() << "no button " << text;
    return nullptr;
}

// Waits for the page's run to end, by its job's signal.
bool ends(Job& job) {
    if (!job.running()) return true;
    QSignalSpy finished(&job, &Job::finished);
    return finished.wait(120'000);
}

TEST_F(Window, EveryPageAndTabShowsTheStoresDataInBothAppearances) {
    QDir().mkpath(VANTREL_SCREENSHOTS);
    // The internal SSD has a forecast and a health log; the failing SATA disk indicators,
    // attributes and a self-test log.
    for (const auto& [drive, prefix] : {std::pair{"Samsung SSD 980", "ssd"}, std::pair{"ST2000", "disk"}}) {
        choose(*window, QString::fromLatin1(drive));
        ASSERT_TRUE(session->store().selectedID());
        for (const auto& [appearance, shade] : {std::pair{app::Prefs::Appearance::lab, "light"},
                                                std::pair{app::Prefs::Appearance::void_, "dark"}}) {
            applyAppearance(appearance, system);
            settle();
            EXPECT_EQ(isDark(window->palette()), std::string(shade) == "dark");
            for (const Page page : {Page::overview, Page::swap, Page::writes, Page::forecast, Page::history, Page::healthData,
                                    Page::report, Page::settings, Page::about, Page::scan, Page::bench}) {
                window->showPage(page);
                settle();
                auto* tabs = window->pageView(page)->findChild<QTabWidget*>();
                const int count = tabs ? tabs->count() : 1;
                for (int tab = 0; tab < count; ++tab) {
                    if (tabs && !tabs->isTabVisible(tab)) continue;
                    if (tabs) tabs->setCurrentIndex(tab);
                    settle();
                    std::string name = pageTitle(page);
                    if (tabs) name += " " + tabs->tabText(tab).toStdString();
                    for (const auto& problem : problems(*window)) {
                        ADD_FAILURE() << prefix << " " << name << " (" << shade << "): " << problem;
                    }
                    std::string file = std::string(prefix) + "-" + name + "-" + shade + ".png";
                    std::replace(file.begin(), file.end(), ' ', '-');
                    window->grab().save(QString::fromStdString(std::string(VANTREL_SCREENSHOTS) + "/" + file));
                }
            }
        }
    }
    // The disk's Health data has all four tabs.
    window->showPage(Page::healthData);
    auto* tabs = window->pageView(Page::healthData)->findChild<QTabWidget*>();
    for (int tab = 0; tab < tabs->count(); ++tab) EXPECT_TRUE(tabs->isTabVisible(tab)) << tab;
}

TEST_F(Window, EveryDriveShowsWithoutGapsAndTheSidebarMovesTheSelection) {
    auto* list = window->driveList();
    ASSERT_EQ(list->count(), static_cast<int>(session->store().visibleDrives().size()));
    for (int row = 0; row < list->count(); ++row) {
        list->setCurrentRow(row);
        settle();
        const auto drive = session->store().visibleDrives()[static_cast<std::size_t>(row)];
        EXPECT_EQ(session->store().selectedID(), drive.id);
        for (const Page page : {Page::overview, Page::forecast, Page::history, Page::healthData}) {
            window->showPage(page);
            settle();
            for (const auto& problem : problems(*window)) {
                ADD_FAILURE() << drive.bsdName << " " << pageTitle(page) << ": " << problem;
            }
        }
    }
    // Live speeds are sampled only while a page shows them.
    window->showPage(Page::overview);
    settle();
    EXPECT_TRUE(session->store().sampling());
    window->showPage(Page::settings);
    settle();
    EXPECT_FALSE(session->store().sampling());
}

TEST_F(Window, SettingsWriteThePreferencesAndTheSidebarFollows) {
    window->showPage(Page::settings);
    auto* tabs = window->pageView(Page::settings)->findChild<QTabWidget*>();
    ASSERT_EQ(tabs->count(), 5);

    tabs->setCurrentIndex(1);
    auto* every = named<QComboBox>(q(Wording::checkEvery));
    every->setCurrentIndex(every->findData(30));
    settle();
    EXPECT_EQ(session->store().prefs().checkMinutes, 30);
    EXPECT_EQ(app::StateFiles::readPrefs(paths.prefs()).checkMinutes, 30);

    tabs->setCurrentIndex(2);
    named<QCheckBox>(q(Wording::notifyHot))->click();
    named<QSpinBox>(q(Wording::notifyLowSpace))->setValue(15);
    settle();
    EXPECT_TRUE(session->store().prefs().notifyHot);
    EXPECT_EQ(session->store().prefs().lowSpacePercent, 15);

    tabs->setCurrentIndex(0);
    auto* appearance = named<QComboBox>(q(Wording::appearance));
    appearance->setCurrentIndex(appearance->findData(static_cast<int>(app::Prefs::Appearance::void_)));
    settle();
    EXPECT_EQ(session->store().prefs().appearance, app::Prefs::Appearance::void_);
    EXPECT_TRUE(isDark(QApplication::palette()));
    appearance->setCurrentIndex(appearance->findData(static_cast<int>(app::Prefs::Appearance::system)));
    settle();
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), system.color(QPalette::Window));
    named<QCheckBox>(q(Wording::openAtLogin))->click();
    EXPECT_TRUE(QFile::exists(home.path() + "/config/autostart/com.orlend.vantrel-autostart.desktop"));

    // Hiding an external drive takes it out of the sidebar, and back.
    tabs->setCurrentIndex(3);
    const int before = window->driveList()->count();
    named<QCheckBox>(QStringLiteral("Hide Backup"))->click();
    settle();
    EXPECT_EQ(window->driveList()->count(), before - 1);
    EXPECT_EQ(session->store().prefs().hiddenDrives.size(), 1u);
    named<QCheckBox>(QStringLiteral("Hide Backup"))->click();
    settle();
    EXPECT_EQ(window->driveList()->count(), before);
    EXPECT_TRUE(session->store().prefs().hiddenDrives.empty());

    tabs->setCurrentIndex(4);
    auto* keep = named<QComboBox>(q(Wording::keepReadings));
    keep->setCurrentIndex(keep->findData(90));
    settle();
    EXPECT_EQ(app::StateFiles::readPrefs(paths.prefs()).keepDays, 90);

    // Deleting every reading takes a second click.
    auto* erase = named<QPushButton>(q(Wording::deleteReadings));
    erase->click();
    EXPECT_FALSE(session->store().readings().empty());
    erase->click();
    settle();
    EXPECT_TRUE(session->store().readings().empty());
    EXPECT_TRUE(app::StateFiles::readReadings(paths.readings()).empty());
}

TEST_F(Window, WithoutRootOrServiceTheWindowSaysWhatToDo) {
    MainWindow bare(*context, MainWindow::Options{true, system, false, false});
    bare.show();
    settle();
    const auto labels = bare.findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [](QLabel* label) {
        return label->isVisible() && label->text() == q(Wording::noService);
    }));
    for (const auto& problem : problems(bare)) ADD_FAILURE() << problem;
    // Without the system's figures there is no Swap page to choose.
    for (int row = 0; row < bare.pageList()->count(); ++row) {
        EXPECT_NE(bare.pageList()->item(row)->text(), q(Wording::swap));
    }
}

TEST_F(Window, LargerTextStillFitsEveryPage) {
    const QFont normal = QApplication::font();
    QFont large = normal;
    large.setPointSizeF(normal.pointSizeF() * 1.5);
    QApplication::setFont(large);
    {
        // Sizes are in font units: a window made at this size grows with the text.
        MainWindow big(*context, MainWindow::Options{false, system, true, true});
        big.show();
        EXPECT_GT(big.width(), window->width());
        choose(big, QStringLiteral("Samsung SSD 980"));
        for (const Page page : {Page::overview, Page::swap, Page::writes, Page::forecast, Page::history, Page::healthData,
                                Page::report, Page::settings, Page::about, Page::scan, Page::bench}) {
            big.showPage(page);
            settle();
            for (const auto& problem : problems(big)) ADD_FAILURE() << pageTitle(page) << ": " << problem;
        }
    }
    QApplication::setFont(normal);
}

TEST_F(Window, TheKeyboardMovesThroughTheSidebarAndOpensSettings) {
    window->activateWindow();
    QApplication::setActiveWindow(window.get());
    auto* drives = window->driveList();
    drives->setFocus();
    drives->setCurrentRow(0);
    settle();
    QTest::keyClick(drives, Qt::Key_Down);
    settle();
    EXPECT_EQ(session->store().selectedID(), session->store().visibleDrives()[1].id);
    QTest::keyClick(drives, Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), window->pageList());
    QTest::keyClick(window->pageList(), Qt::Key_Down);
    settle();
    EXPECT_EQ(window->page(), Page::swap);
    QTest::keyClick(window->pageList(), Qt::Key_Comma, Qt::ControlModifier);
    settle();
    EXPECT_EQ(window->page(), Page::settings);
}

TEST_F(Window, TheDrivesContextMenuOffersAUSBReadOnlyForUSBDrivesAndRunsForEvery) {
    const auto drives = session->store().visibleDrives();
    for (int row = 0; row < static_cast<int>(drives.size()); ++row) {
        QMenu menu;
        window->fillContextMenu(menu, row);
        const bool usb = drives[static_cast<std::size_t>(row)].kind == drivekit::DriveKind::usb;
        ASSERT_EQ(menu.actions().size(), usb ? 4 : 3) << drives[static_cast<std::size_t>(row)].bsdName;
        EXPECT_EQ(menu.actions().front()->text(), q(Wording::checkEveryDrive));
    }
    // A scan from the menu selects its drive and brings the scan forward, without starting.
    {
        QMenu menu;
        window->fillContextMenu(menu, rowOf(session->store(), "sdc"));
        menu.actions().at(1)->trigger();
        settle();
        EXPECT_EQ(window->page(), Page::scan);
        EXPECT_EQ(session->store().selectedID(), testing::byName(demo.drives, "sdc").id);
        EXPECT_EQ(static_cast<ScanPage*>(window->pageView(Page::scan))->state(), RunState::idle);
    }
    // Checking every drive starts a pass at once.
    QMenu menu;
    window->fillContextMenu(menu, 0);
    bool passed = false;
    session->store().onPass = [&](const app::PassReport&) { passed = true; };
    menu.actions().front()->trigger();
    for (int i = 0; i < 100 && !passed; ++i) QApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_TRUE(passed);
}

TEST_F(Window, TheHealthReportIsSavedByTheDrawingPart) {
    choose(*window, QStringLiteral("ST2000"));
    window->showPage(Page::report);
    settle();
    named<QPushButton>(q(Wording::savePDF))->click();
    const QString file = home.filePath(QStringLiteral("ST2000DM008-2FR102 health.pdf"));
    const auto saved = q(Wording::fill(Wording::reportSaved, {file.toStdString()}));
    const auto shown = [&] {
        const auto labels = window->pageView(Page::report)->findChildren<QLabel*>();
        return std::any_of(labels.begin(), labels.end(), [&](QLabel* label) {
            return label->isVisible() && label->text().startsWith(q(Wording::reportSaved).left(5));
        });
    };
    ASSERT_TRUE(QTest::qWaitFor(shown, 120'000));
    const auto labels = window->pageView(Page::report)->findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [&](QLabel* label) { return label->text() == saved; }));
    QFile pdf(file);
    ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
    EXPECT_TRUE(pdf.read(5) == "%PDF-");
}

TEST_F(Window, TheReportSaysWhatItHoldsWithTheKeptScanAndBenchmark) {
    choose(*window, QStringLiteral("Samsung SSD 980"));
    window->showPage(Page::report);
    const auto said = [&] {
        for (const auto& text : texts(window->pageView(Page::report))) {
            if (text.startsWith(q(Wording::whatsInIt).left(12))) return text;
        }
        return QString();
    };
    ASSERT_TRUE(QTest::qWaitFor([&] { return !said().isEmpty(); }, 60'000));
    EXPECT_TRUE(said().contains(QStringLiteral("its last benchmark; its last surface scan"))) << said().toStdString();
    EXPECT_TRUE(said().contains(QStringLiteral("a summary of Vantrel’s 30 readings"))) << said().toStdString();
}

TEST_F(Window, AScanRunsToItsEndShowsOnTestsAndASecondIsCancelled) {
    QDir().mkpath(VANTREL_SCREENSHOTS);
    window->driveList()->setCurrentRow(rowOf(session->store(), "sdb"));
    window->showPage(Page::healthData);
    window->pageView(Page::healthData)->findChild<QTabWidget*>()->setCurrentIndex(3);
    settle();
    named<QPushButton>(q(Wording::scanSurface))->click();
    settle();
    ASSERT_EQ(window->page(), Page::scan);
    auto* page = static_cast<ScanPage*>(window->pageView(Page::scan));
    button(page, Wording::start)->click();
    EXPECT_EQ(page->state(), RunState::running);
    EXPECT_FALSE(button(page, Wording::start)->isEnabled());
    ASSERT_TRUE(ends(page->job()));
    settle();
    EXPECT_EQ(page->state(), RunState::finished);
    EXPECT_EQ(page->findChild<QProgressBar*>()->value(), 100);
    // The samples of what the scan cost this program, taken by the page.
    EXPECT_EQ(texts(page).filter(QStringLiteral("of a core on average")).size(), 1);
    EXPECT_TRUE(texts(page).contains(QStringLiteral("2048 of 2048 with READ (16), 512 KB")) ||
                texts(page).filter(QStringLiteral("2048 of 2048")).size() == 1)
        << texts(page).join(QStringLiteral(" | ")).toStdString();
    for (const auto& [appearance, shade] : {std::pair{app::Prefs::Appearance::lab, "light"},
                                            std::pair{app::Prefs::Appearance::void_, "dark"}}) {
        applyAppearance(appearance, system);
        settle();
        for (const auto& problem : problems(*window)) ADD_FAILURE() << "scan (" << shade << "): " << problem;
        window->grab().save(QString::fromStdString(std::string(VANTREL_SCREENSHOTS) + "/scan-" + shade + ".png"));
    }
    // Health data -> Tests shows the scan just made.
    window->showPage(Page::healthData);
    settle();
    const auto kept = texts(window->pageView(Page::healthData)).filter(QStringLiteral("(quick): 2048 of 2048 reads"));
    EXPECT_EQ(kept.size(), 1) << texts(window->pageView(Page::healthData)).join(QStringLiteral(" | ")).toStdString();

    // Cancelled at once, the second scan stops short of its end.
    window->showPage(Page::scan);
    button(page, Wording::start)->click();
    button(page, Wording::cancel)->click();
    EXPECT_EQ(page->state(), RunState::stopping);
    ASSERT_TRUE(ends(page->job()));
    EXPECT_EQ(page->state(), RunState::finished);
    EXPECT_LT(page->findChild<QProgressBar*>()->value(), 100);

    // A drive the demo can't read directly says why the scan didn't start.
    window->driveList()->setCurrentRow(rowOf(session->store(), "nvme0n1"));
    window->showPage(Page::scan);
    settle();
    button(page, Wording::start)->click();
    ASSERT_TRUE(ends(page->job()));
    EXPECT_EQ(page->state(), RunState::failed);
    EXPECT_EQ(texts(page).filter(QStringLiteral("/dev/nvme0n1")).size(), 1) << texts(page).join(QStringLiteral(" | ")).toStdString();

    // Closing the window stops a scan under way, and the window goes without waiting long.
    window->driveList()->setCurrentRow(rowOf(session->store(), "sdb"));
    window->showPage(Page::scan);
    settle();
    button(page, Wording::start)->click();
    window->close();
    EXPECT_EQ(page->state(), RunState::stopping);
    const auto before = std::chrono::steady_clock::now();
    window.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
}

TEST_F(Window, ABenchmarkRunsInItsFolderIsCancelledAndLeavesNoFileBehind) {
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    window->driveList()->setCurrentRow(rowOf(session->store(), "sdb"));
    window->showPage(Page::healthData);
    window->pageView(Page::healthData)->findChild<QTabWidget*>()->setCurrentIndex(3);
    settle();
    named<QPushButton>(q(Wording::runBenchmark))->click();
    settle();
    ASSERT_EQ(window->page(), Page::bench);
    auto* page = static_cast<BenchPage*>(window->pageView(Page::bench));
    // The demo's volumes aren't this computer's folders: none is offered, Start waits for one.
    EXPECT_FALSE(button(page, Wording::start)->isEnabled());
    page->setFolder(folder.path() + QStringLiteral("/missing"));
    button(page, Wording::start)->click();
    ASSERT_TRUE(ends(page->job()));
    EXPECT_EQ(page->state(), RunState::failed);
    EXPECT_TRUE(texts(page).contains(q(app::bench::text(app::bench::Failure::cannotCreate, "No such file or directory"))))
        << texts(page).join(QStringLiteral(" | ")).toStdString();

    page->setFolder(folder.path());
    button(page, Wording::start)->click();
    ASSERT_TRUE(ends(page->job()));
    settle();
    EXPECT_EQ(page->state(), RunState::finished);
    const auto shown = texts(page);
    for (const auto test : {drivekit::BenchTest::seqRead, drivekit::BenchTest::seqWrite, drivekit::BenchTest::rndRead,
                            drivekit::BenchTest::rndWrite}) {
        EXPECT_TRUE(shown.contains(q(app::bench::testName(test)))) << shown.join(QStringLiteral(" | ")).toStdString();
    }
    EXPECT_TRUE(shown.contains(QStringLiteral("Average of 3 runs."))) << shown.join(QStringLiteral(" | ")).toStdString();
    for (const auto& problem : problems(*window)) ADD_FAILURE() << "benchmark: " << problem;
    window->grab().save(QString::fromStdString(std::string(VANTREL_SCREENSHOTS) + "/benchmark-light.png"));
    EXPECT_TRUE(QDir(folder.path()).isEmpty());

    button(page, Wording::start)->click();
    button(page, Wording::cancel)->click();
    ASSERT_TRUE(ends(page->job()));
    EXPECT_TRUE(texts(page).contains(q(Wording::benchStopped)));
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
}

TEST_F(Window, TheWhatIfSliderAnswersInSteps) {
    choose(*window, QStringLiteral("Samsung SSD 980"));
    window->showPage(Page::forecast);
    settle();
    auto* page = static_cast<ForecastPage*>(window->pageView(Page::forecast));
    page->slider()->setValue(22);
    settle();
    EXPECT_EQ(page->slider()->value(), 20);
    EXPECT_TRUE(texts(page).contains(QStringLiteral("If you write 20% less")));
    page->slider()->setValue(0);
    settle();
    EXPECT_TRUE(texts(page).contains(q(Wording::todaysPace)));
}

}  // namespace
}  // namespace desktop
