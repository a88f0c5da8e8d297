#include "desktop/window/run_pages.hpp"

#include <QButtonGroup>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <QVBoxLayout>
#include <memory>
#include <random>

#include "desktop/model/page_wording.hpp"
#include "desktop/window/appearance.hpp"
#include "desktop/window/job.hpp"
#include "desktop/window/widgets.hpp"
#include "platform/file_store.hpp"

namespace desktop {

namespace {

QPushButton* button(QWidget* parent, std::string_view text) {
    auto* button = new QPushButton(q(text), parent);
    button->setAccessibleName(q(text));
    return button;
}

QProgressBar* progressBar(QWidget* parent, std::string_view name) {
    auto* bar = new QProgressBar(parent);
    bar->setRange(0, 100);
    bar->setAccessibleName(q(name));
    return bar;
}

void showFacts(QFormLayout* form, const std::vector<Fact>& facts) {
    clear(form);
    addFacts(form, facts);
}

void say(QLabel* label, const std::string& text) {
    label->setText(q(text));
    label->setVisible(!text.empty());
}

}  // namespace

// ---------------------------------------------------------------- The scan map

ScanMapView::ScanMapView(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    setAccessibleName(q(Wording::scanMap));
}

void ScanMapView::show(const std::optional<drivekit::ScanMap>& map) {
    map_ = map;
    setVisible(map_ && map_->count() > 0);
    updateGeometry();
    QWidget::update();
}

namespace {
int cellSize(const QWidget* widget) { return std::max(4, em(widget, 0.45)); }
}  // namespace

QSize ScanMapView::sizeHint() const { return {em(this, 20), heightForWidth(em(this, 30))}; }

int ScanMapView::heightForWidth(int width) const {
    const int cell = cellSize(this);
    const int count = map_ ? map_->count() : 0;
    const int columns = std::max(1, width / cell);
    return ((count + columns - 1) / columns) * cell;
}

void ScanMapView::paintEvent(QPaintEvent*) {
    if (!map_) return;
    QPainter painter(this);
    const int cell = cellSize(this);
    const int columns = std::max(1, width() / cell);
    QColor unread = palette().color(QPalette::Mid);
    unread.setAlpha(90);
    const QColor colours[] = {unread, indicatorColour(drivekit::IndicatorStatus::ok, palette()),
                              indicatorColour(drivekit::IndicatorStatus::warning, palette()),
                              indicatorColour(drivekit::IndicatorStatus::failing, palette())};
    for (int i = 0; i < map_->count(); ++i) {
        painter.fillRect(QRect((i % columns) * cell, (i / columns) * cell, cell - 1, cell - 1),
                         colours[static_cast<int>(map_->state(i))]);
    }
}

// ---------------------------------------------------------------- Surface scan

ScanPage::ScanPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    title_ = label(this, 1.6, true);
    auto* line = label(this);
    line->setText(q(Wording::scanLine));
    quick_ = new QRadioButton(q(Wording::quickScan), this);
    full_ = new QRadioButton(q(Wording::fullScan), this);
    quick_->setChecked(true);
    auto* modes = new QButtonGroup(this);
    modes->addButton(quick_);
    modes->addButton(full_);
    auto* buttons = new QHBoxLayout();
    start_ = button(this, Wording::start);
    cancel_ = button(this, Wording::cancel);
    buttons->addWidget(start_);
    buttons->addWidget(cancel_);
    buttons->addStretch();
    bar_ = progressBar(this, Wording::scanTitle);
    line_ = label(this);
    map_ = new ScanMapView(this);
    useTitle_ = label(this, 1.0, true);
    useTitle_->setText(q(Wording::cost));
    use_ = label(this);
    use_->setAccessibleName(q(Wording::cost));
    failure_ = label(this);
    result_ = new QFormLayout();
    job_ = new Job(this);
    sampler_ = new QTimer(this);
    sampler_->setInterval(1000);

    layout->addWidget(title_);
    layout->addWidget(line);
    layout->addWidget(quick_);
    layout->addWidget(full_);
    layout->addLayout(buttons);
    layout->addWidget(bar_);
    layout->addWidget(line_);
    layout->addWidget(map_);
    layout->addWidget(useTitle_);
    layout->addWidget(use_);
    layout->addWidget(failure_);
    layout->addLayout(result_);
    layout->addStretch();
    for (QWidget* hidden : std::initializer_list<QWidget*>{bar_, line_, map_, useTitle_, use_, failure_}) hidden->hide();

    QObject::connect(start_, &QPushButton::clicked, this, [this] { start(); });
    QObject::connect(cancel_, &QPushButton::clicked, this, [this] { cancel(); });
    QObject::connect(sampler_, &QTimer::timeout, this, [this] { sampleUse(); });
    showControls();
}

ScanPage::~ScanPage() { job_->join(); }

void ScanPage::update(const app::DriveSummary* drive) {
    // A scan under way keeps its drive; the page follows the selection between scans.
    if (state_ == RunState::running || state_ == RunState::stopping || drive == nullptr) return;
    if (drive->bsdName != bsdName_) {
        state_ = RunState::idle;
        for (QWidget* hidden : std::initializer_list<QWidget*>{bar_, line_, map_, useTitle_, use_, failure_}) hidden->hide();
        showFacts(result_, {});
    }
    bsdName_ = drive->bsdName;
    name_ = drive->name;
    title_->setText(q(Wording::fill(Wording::scanOf, {name_})));
    showControls();
}

void ScanPage::showControls() {
    const auto controls = runControls(state_, context_.machine != nullptr && !bsdName_.empty());
    start_->setEnabled(controls.start);
    cancel_->setEnabled(controls.cancel);
    quick_->setEnabled(controls.choose);
    full_->setEnabled(controls.choose);
}

void ScanPage::start() {
    if (!runControls(state_, context_.machine != nullptr && !bsdName_.empty()).start) return;
    app::Machine& machine = *context_.machine;
    if (machine.clock == nullptr) return;
    state_ = RunState::running;
    failure_->hide();
    showFacts(result_, {});
    showProgress(drivekit::surface_scan::Result{});
    map_->hide();
    usage_ = {};
    lastUse_ = context_.ownProc ? app::ownUse(*context_.ownProc) : std::nullopt;
    use_->hide();
    useTitle_->hide();
    if (lastUse_) sampler_->start();
    showControls();

    const auto mode = quick_->isChecked() ? drivekit::surface_scan::Mode::quick : drivekit::surface_scan::Mode::full;
    auto outcome = std::make_shared<app::ScanRun::Outcome>();
    // The core chooses how the drive is read: directly as root, else through the service.
    job_->start(
        [this, &machine, outcome, mode, name = bsdName_, data = context_.paths.data] {
            const app::ScanRun::Platform platform{machine.sysfs,         *machine.clock, machine.openSCSI,
                                                  machine.openBlockReads, data,           platform::systemFiles(),
                                                  nullptr,               machine.serviceScan};
            Job* job = job_;
            *outcome = app::ScanRun::run(
                platform, name, mode, [job] { return job->stopRequested(); },
                [this, job](const drivekit::surface_scan::Result& result) {
                    job->post([this, result] { showProgress(result); });
                });
        },
        [this, outcome] { finish(*outcome); });
}

void ScanPage::cancel() {
    if (state_ != RunState::running) return;
    state_ = RunState::stopping;
    job_->stop();
    showControls();
}

void ScanPage::showProgress(const drivekit::surface_scan::Result& result) {
    const ScanShown shown = scanShown(result);
    bar_->setValue(shown.progress.percent);
    bar_->show();
    say(line_, shown.line);
    // The line takes the colour of the worst the scan met so far.
    const auto status = shown.progress.tone == app::ScanProgress::Tone::unreadable ? drivekit::IndicatorStatus::failing
                        : shown.progress.tone == app::ScanProgress::Tone::slow     ? drivekit::IndicatorStatus::warning
                                                                                   : drivekit::IndicatorStatus::ok;
    QPalette tinted = line_->palette();
    tinted.setColor(QPalette::WindowText, indicatorColour(status, palette()));
    line_->setPalette(tinted);
    map_->show(result.map);
    if (context_.activity && state_ == RunState::running) {
        context_.activity(Wording::fill(Wording::scanning,
                                        {bsdName_, drivekit::LocalFormat::percent(shown.progress.percent, context_.locale)}));
    }
}

void ScanPage::sampleUse() {
    if (context_.ownProc == nullptr) return;
    const auto now = app::ownUse(*context_.ownProc);
    if (!now || !lastUse_) return;
    app::ScanUsageSampling::add(usage_, *lastUse_, *now);
    lastUse_ = now;
    say(use_, usageLine(usage_, context_.locale));
    useTitle_->setVisible(use_->isVisible());
}

void ScanPage::finish(const app::ScanRun::Outcome& outcome) {
    sampler_->stop();
    if (context_.activity) context_.activity({});
    sampleUse();
    if (const auto failure = scanFailure(outcome)) {
        state_ = RunState::failed;
        bar_->hide();
        line_->hide();
        say(failure_, *failure);
        showControls();
        return;
    }
    state_ = RunState::finished;
    showProgress(*outcome.result);
    app::ScanRun::Outcome shown = outcome;
    // What this view sampled, as the command line shows what its own samples say.
    if (shown.usage.cpu.empty()) shown.usage = usage_;
    showFacts(result_, scanResult(shown));
    // The table's last row sums up the samples the live figure showed.
    use_->setVisible(shown.usage.cpu.empty() && use_->isVisible());
    useTitle_->setVisible(use_->isVisible());
    say(failure_, outcome.saveFailure.value_or(std::string()));
    showControls();
}

// ---------------------------------------------------------------- Benchmark

BenchPage::BenchPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    title_ = label(this, 1.6, true);
    title_->setText(q(Wording::benchTitle));
    auto* line = label(this);
    line->setText(q(Wording::benchLine));
    auto* folderRow = new QHBoxLayout();
    auto* folderLabel = new QLabel(q(Wording::folder), this);
    folder_ = new QLineEdit(this);
    folder_->setAccessibleName(q(Wording::folder));
    folder_->setPlaceholderText(q(Wording::noFolder));
    folderLabel->setBuddy(folder_);
    choose_ = button(this, Wording::chooseFolder);
    folderRow->addWidget(folderLabel);
    folderRow->addWidget(folder_, 1);
    folderRow->addWidget(choose_);
    auto* buttons = new QHBoxLayout();
    start_ = button(this, Wording::start);
    cancel_ = button(this, Wording::cancel);
    buttons->addWidget(start_);
    buttons->addWidget(cancel_);
    buttons->addStretch();
    bar_ = progressBar(this, Wording::benchTitle);
    line_ = label(this);
    headline_ = label(this, 1.2, true);
    detail_ = label(this);
    averages_ = new QFormLayout();
    note_ = label(this);
    job_ = new Job(this);

    layout->addWidget(title_);
    layout->addWidget(line);
    layout->addLayout(folderRow);
    layout->addLayout(buttons);
    layout->addWidget(bar_);
    layout->addWidget(line_);
    layout->addWidget(headline_);
    layout->addWidget(detail_);
    layout->addLayout(averages_);
    layout->addWidget(note_);
    layout->addStretch();
    for (QWidget* hidden : std::initializer_list<QWidget*>{bar_, line_, headline_, detail_, note_}) hidden->hide();

    QObject::connect(folder_, &QLineEdit::textEdited, this, [this] {
        chosen_ = true;
        showControls();
    });
    QObject::connect(choose_, &QPushButton::clicked, this, [this] {
        if (!context_.chooseFolder) return;
        const QString picked = context_.chooseFolder(folder());
        if (!picked.isEmpty()) setFolder(picked);
    });
    QObject::connect(start_, &QPushButton::clicked, this, [this] { start(); });
    QObject::connect(cancel_, &QPushButton::clicked, this, [this] { cancel(); });
    showControls();
}

BenchPage::~BenchPage() { job_->join(); }

void BenchPage::update(const app::DriveSummary* drive) {
    if (state_ == RunState::running || state_ == RunState::stopping || drive == nullptr) return;
    if (drive->bsdName != bsdName_) {
        state_ = RunState::idle;
        for (QWidget* hidden : std::initializer_list<QWidget*>{bar_, line_, headline_, detail_, note_}) hidden->hide();
        showFacts(averages_, {});
        // A folder on the drive's mounted volume is offered, unless the user chose one.
        if (!chosen_) {
            QString offered;
            for (const auto& volume : drive->volumes) {
                const QFileInfo mount(q(volume.mountPoint));
                if (!volume.mountPoint.empty() && mount.isDir() && mount.isWritable()) {
                    offered = mount.absoluteFilePath();
                    break;
                }
            }
            folder_->setText(offered);
        }
    }
    bsdName_ = drive->bsdName;
    title_->setText(q(Wording::benchTitle) + QStringLiteral(": ") + q(drive->name));
    showControls();
}

void BenchPage::setFolder(const QString& folder) {
    folder_->setText(folder);
    chosen_ = true;
    showControls();
}

QString BenchPage::folder() const { return folder_->text().trimmed(); }

void BenchPage::showControls() {
    const auto controls = runControls(state_, context_.machine != nullptr && !folder().isEmpty());
    start_->setEnabled(controls.start);
    cancel_->setEnabled(controls.cancel);
    folder_->setEnabled(controls.choose);
    choose_->setEnabled(controls.choose);
}

void BenchPage::start() {
    if (!runControls(state_, context_.machine != nullptr && !folder().isEmpty()).start) return;
    const QFileInfo info(folder());
    state_ = RunState::running;
    for (QWidget* hidden : std::initializer_list<QWidget*>{headline_, detail_, note_}) hidden->hide();
    showFacts(averages_, {});
    bar_->setValue(0);
    bar_->show();
    say(line_, {});
    showControls();
    auto run = std::make_shared<app::BenchRun>();
    job_->start(
        [this, machine = context_.machine, run, folder = info.canonicalFilePath().toStdString(),
         typed = folder().toStdString(), data = context_.paths.data] {
            if (folder.empty()) {
                // Not a folder of this computer: refused as creating the file there would be.
                run->outcome.failure = app::bench::Failure::cannotCreate;
                run->outcome.detail = std::error_code(ENOENT, std::generic_category()).message();
                run->outcome.fileRemoved = true;
                return;
            }
            Job* job = job_;
            const auto locale = machine->locale;
            *run = app::runBenchmark(
                *machine, folder, std::random_device{}() * 0x9E3779B97F4A7C15ull ^ std::random_device{}(),
                [job] { return job->stopRequested(); },
                [this, job, locale](const app::bench::Live& live) {
                    job->post([this, live, locale] {
                        const int step = live.run * 4 + static_cast<int>(live.test);
                        bar_->setValue(static_cast<int>((step + live.fraction) * 100 / (4 * app::bench::runCount)));
                        say(line_, benchProgress(live, locale));
                    });
                },
                data);
        },
        [this, run] { finish(*run); });
}

void BenchPage::cancel() {
    if (state_ != RunState::running) return;
    state_ = RunState::stopping;
    job_->stop();
    showControls();
}

void BenchPage::finish(const app::BenchRun& run) {
    const BenchShown shown = benchShown(run, context_.locale);
    state_ = shown.failure ? RunState::failed : RunState::finished;
    bar_->setVisible(!shown.failure && !shown.stopped);
    if (bar_->isVisible()) bar_->setValue(100);
    line_->hide();
    std::string said = shown.failure ? *shown.failure : shown.stopped ? std::string(Wording::benchStopped) : shown.headline;
    if (!run.outcome.fileRemoved && !run.outcome.file.empty()) said += " " + Wording::fill(Wording::benchFileLeft, {run.outcome.file});
    say(headline_, said);
    say(detail_, shown.detail);
    showFacts(averages_, shown.averages);
    say(note_, shown.note + (run.saveFailure ? " " + *run.saveFailure : std::string()));
    showControls();
}

}  // namespace desktop
