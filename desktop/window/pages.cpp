#include "desktop/window/pages.hpp"

#include <QApplication>
#include <QAreaSeries>
#include <QChart>
#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QPushButton>
#include <QChartView>
#include <QDateTimeAxis>
#include <QFontMetrics>
#include <QFormLayout>
#include <QHeaderView>
#include <QLineSeries>
#include <QScatterSeries>
#include <QSlider>
#include <QTableWidget>
#include <QValueAxis>
#include <QTimeZone>
#include <algorithm>
#include <cmath>

#include "desktop/model/drive_pages.hpp"
#include "desktop/model/forecast_page.hpp"
#include "desktop/model/history_page.hpp"
#include "desktop/model/page_wording.hpp"
#include "desktop/model/system_page.hpp"
#include "desktop/model/writes_page.hpp"
#include "app/writes/app_writes.hpp"
#include "desktop/window/appearance.hpp"
#include "desktop/window/job.hpp"
#include "desktop/window/widgets.hpp"
#include "drivekit/core/version.hpp"
#include "reports/gather.hpp"
#include "reports/report_plan.hpp"

namespace desktop {

namespace {

QTableWidget* table(QWidget* parent, const QStringList& headers, const QString& name) {
    auto* table = new QTableWidget(0, static_cast<int>(headers.size()), parent);
    table->setHorizontalHeaderLabels(headers);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->verticalHeader()->hide();
    // Columns as wide as their content, the last one taking the rest and wrapping what is
    // longer, each row as tall as its wrapped text: nothing is cut off.
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table->horizontalHeader()->setStretchLastSection(true);
    table->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table->setWordWrap(true);
    table->setAccessibleName(name);
    return table;
}

void fill(QTableWidget* table, const std::vector<std::vector<std::string>>& rows) {
    table->setRowCount(static_cast<int>(rows.size()));
    for (int r = 0; r < static_cast<int>(rows.size()); ++r) {
        for (int c = 0; c < static_cast<int>(rows[static_cast<std::size_t>(r)].size()); ++c) {
            table->setItem(r, c, new QTableWidgetItem(q(rows[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)])));
        }
    }
}

QChartView* chartView(QWidget* parent, const QString& name) {
    auto* chart = new QChart();
    chart->legend()->hide();
    chart->setBackgroundVisible(false);
    auto* view = new QChartView(chart, parent);
    view->setRenderHint(QPainter::Antialiasing);
    view->setMinimumHeight(em(parent, 14));
    view->setAccessibleName(name);
    return view;
}

// The chart follows the window's palette: Qt Charts' own themes know nothing of it.
void colour(QChart* chart, const QPalette& palette) {
    chart->setTitleBrush(palette.color(QPalette::WindowText));
    chart->legend()->setLabelColor(palette.color(QPalette::WindowText));
    for (auto* axis : chart->axes()) {
        axis->setLabelsBrush(palette.color(QPalette::WindowText));
        axis->setTitleBrush(palette.color(QPalette::WindowText));
        axis->setGridLineColor(palette.color(QPalette::Mid));
        axis->setLinePenColor(palette.color(QPalette::Mid));
    }
}

}  // namespace

int em(const QWidget* widget, double units) {
    return static_cast<int>(units * QFontMetrics(widget ? widget->font() : QApplication::font()).height());
}

// ---------------------------------------------------------------- Overview

OverviewPage::OverviewPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    name_ = label(this, 1.6, true);
    auto* tierRow = new QHBoxLayout();
    tier_ = label(this, 1.2, true);
    tier_->setAccessibleName(q(Wording::overview));
    score_ = label(this, 1.2);
    score_->setAccessibleName(q(Wording::score));
    tierRow->addWidget(tier_);
    tierRow->addWidget(score_);
    tierRow->addStretch();
    line_ = label(this);
    layout->addWidget(name_);
    layout->addLayout(tierRow);
    layout->addWidget(line_);
    facts_ = new QFormLayout();
    layout->addLayout(facts_);
    volumesTitle_ = label(this, 1.1, true);
    volumesTitle_->setText(q(Wording::volumes));
    layout->addWidget(volumesTitle_);
    volumes_ = new QFormLayout();
    layout->addLayout(volumes_);

    speeds_ = new QWidget(this);
    auto* speedLayout = new QVBoxLayout(speeds_);
    speedLayout->setContentsMargins(0, 0, 0, 0);
    auto* speedTitle = label(speeds_, 1.1, true);
    speedTitle->setText(q(Wording::liveSpeeds));
    speedLayout->addWidget(speedTitle);
    speedChart_ = chartView(speeds_, q(Wording::liveSpeeds));
    read_ = new QLineSeries();
    read_->setName(q(Wording::readSpeed));
    write_ = new QLineSeries();
    write_->setName(q(Wording::writeSpeed));
    auto* chart = speedChart_->chart();
    chart->addSeries(read_);
    chart->addSeries(write_);
    chart->legend()->show();
    auto* x = new QValueAxis();
    x->setRange(0, static_cast<double>(app::SpeedHistory::kLength - 1));
    x->setLabelsVisible(false);
    auto* y = new QValueAxis();
    y->setTitleText(q(Wording::megabytesPerSecond));
    y->setLabelFormat("%.0f");
    chart->addAxis(x, Qt::AlignBottom);
    chart->addAxis(y, Qt::AlignLeft);
    for (auto* series : {read_, write_}) {
        series->attachAxis(x);
        series->attachAxis(y);
    }
    speedLayout->addWidget(speedChart_);
    layout->addWidget(speeds_);
    layout->addStretch();

    ticker_.setInterval(1000);
    QObject::connect(&ticker_, &QTimer::timeout, this, [this] { sample(); });
}

void OverviewPage::update(const app::DriveSummary* drive) {
    clear(facts_);
    clear(volumes_);
    if (drive == nullptr) return;
    const Overview view = overview(*drive, context_.locale);
    name_->setText(q(view.name));
    tier_->setText(q(view.tierLabel));
    QPalette palette = tier_->palette();
    palette.setColor(QPalette::WindowText, tierColour(view.tier, this->palette()));
    tier_->setPalette(palette);
    score_->setText(q(view.score));
    line_->setText(q(view.line));
    addFacts(facts_, view.facts);
    addFacts(volumes_, view.volumes);
    volumesTitle_->setVisible(!view.volumes.empty());
    bsdName_ = drive->bsdName;
    speeds_->setVisible(view.showsSpeeds);
    colour(speedChart_->chart(), this->palette());
    sample();
}

void OverviewPage::showEvent(QShowEvent* event) {
    PageView::showEvent(event);
    if (!live_) context_.store.beginLive();
    live_ = true;
    ticker_.start();
}

void OverviewPage::hideEvent(QHideEvent* event) {
    PageView::hideEvent(event);
    if (live_) context_.store.endLive();
    live_ = false;
    ticker_.stop();
}

void OverviewPage::sample() {
    const auto* history = context_.store.history(bsdName_);
    QList<QPointF> reads;
    QList<QPointF> writes;
    double top = 1;
    for (std::size_t i = 0; history != nullptr && i < history->size(); ++i) {
        const auto speed = history->at(i);
        reads.append(QPointF(static_cast<double>(i), speed.read / 1e6));
        writes.append(QPointF(static_cast<double>(i), speed.write / 1e6));
        top = std::max({top, speed.read / 1e6, speed.write / 1e6});
    }
    read_->replace(reads);
    write_->replace(writes);
    if (auto axes = speedChart_->chart()->axes(Qt::Vertical); !axes.isEmpty()) {
        auto* y = static_cast<QValueAxis*>(axes.front());
        y->setRange(0, top * 1.1);
        y->setLabelFormat(top < 5 ? "%.1f" : "%.0f");
    }
}

// ---------------------------------------------------------------- Swap

SwapPage::SwapPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    auto* title = label(this, 1.6, true);
    title->setText(q(Wording::swap));
    layout->addWidget(title);
    facts_ = new QFormLayout();
    layout->addLayout(facts_);
    chart_ = chartView(this, q(Wording::swappedTrend));
    layout->addWidget(chart_);
    layout->addStretch();
}

void SwapPage::update(const app::DriveSummary*) {
    clear(facts_);
    const auto stats = context_.system ? context_.system() : std::nullopt;
    chart_->setVisible(false);
    if (!stats) return;
    // Swap goes to the system drive: its readings carry the swap counter.
    std::vector<app::Reading> readings;
    for (const auto& drive : context_.store.allDrives()) {
        if (drive.kind == drivekit::DriveKind::internalSSD) readings = app::Readings::of(context_.store.readings(), drive.id);
    }
    const auto view = swapPage(*stats, readings, context_.utcOffsetSeconds, context_.locale);
    addFacts(facts_, view.facts);
    auto* chart = chart_->chart();
    chart->removeAllSeries();
    for (auto* axis : chart->axes()) {
        chart->removeAxis(axis);
        delete axis;
    }
    if (!view.swappedPerDay) return;
    auto* series = new QLineSeries();
    double top = 0.1;
    for (const auto& point : view.swappedPerDay->points) {
        series->append(point.time, point.value);
        top = std::max(top, point.value);
    }
    chart->addSeries(series);
    chart->setTitle(q(Wording::swappedTrend));
    auto* x = new QDateTimeAxis();
    x->setFormat("MMM d");
    x->setTickCount(5);
    auto* y = new QValueAxis();
    y->setRange(0, top * 1.2);
    y->setLabelFormat(top < 5 ? "%.1f" : "%.0f");
    chart->addAxis(x, Qt::AlignBottom);
    chart->addAxis(y, Qt::AlignLeft);
    series->attachAxis(x);
    series->attachAxis(y);
    colour(chart, palette());
    chart_->setVisible(true);
}

// ---------------------------------------------------------------- Writes

WritesPage::WritesPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    auto* title = label(this, 1.6, true);
    title->setText(q(Wording::writes));
    auto* note = label(this);
    note->setText(q(Wording::writesNote));
    layout->addWidget(title);
    layout->addWidget(note);
    tabs_ = new QTabWidget(this);
    tabs_->setAccessibleName(q(Wording::writes));
    auto* todayTab = new QWidget(tabs_);
    auto* todayLayout = new QVBoxLayout(todayTab);
    total_ = label(todayTab);
    today_ = table(todayTab, {q(Wording::writer), q(Wording::written), q(Wording::share)}, q(Wording::tabToday));
    todayLayout->addWidget(total_);
    todayLayout->addWidget(today_);
    perDay_ = table(tabs_, {q(Wording::day), q(Wording::written)}, q(Wording::tabPerDay));
    tabs_->addTab(todayTab, q(Wording::tabToday));
    tabs_->addTab(perDay_, q(Wording::tabPerDay));
    layout->addWidget(tabs_, 1);
}

void WritesPage::update(const app::DriveSummary*) {
    // The loop saves its history at each new hour; the page reads what it saved.
    const auto loaded = app::WritesFiles::load(app::AppWritesFiles::in(context_.paths.data), {});
    const auto view = writesPage(loaded.history, context_.timers.now(), drivekit::WriteCalendar::local(),
                                 context_.locale);
    total_->setText(q(Wording::fill(Wording::writtenToday, {view.todayTotal})));
    std::vector<std::vector<std::string>> rows;
    for (const auto& row : view.today) rows.push_back({row.name, row.bytes, row.share});
    fill(today_, rows);
    today_->setVisible(!rows.empty());
    rows.clear();
    for (const auto& row : view.perDay) rows.push_back({row.day, row.bytes});
    fill(perDay_, rows);
    tabs_->setTabVisible(1, !rows.empty());
}

// ---------------------------------------------------------------- Forecast

ForecastPage::ForecastPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    auto* top = new QHBoxLayout();
    headline_ = label(this, 1.8, true);
    headline_->setAccessibleName(q(Wording::forecast));
    confidence_ = label(this);
    confidence_->setWordWrap(false);
    confidence_->setAlignment(Qt::AlignRight | Qt::AlignTop);
    top->addWidget(headline_, 1);
    top->addWidget(confidence_);
    layout->addLayout(top);
    content_ = label(this);
    layout->addWidget(content_);
    chart_ = chartView(this, q(Wording::lifeUsedAxis));
    layout->addWidget(chart_);

    whatIf_ = new QWidget(this);
    auto* whatIfLayout = new QGridLayout(whatIf_);
    whatIfLayout->setContentsMargins(0, 0, 0, 0);
    whatIfLabel_ = label(whatIf_, 1.0, true);
    whatIfHeadline_ = label(whatIf_, 1.3, true);
    gain_ = label(whatIf_);
    gain_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    slider_ = new QSlider(Qt::Horizontal, whatIf_);
    slider_->setRange(0, kWhatIfMax);
    slider_->setSingleStep(kWhatIfStep);
    slider_->setPageStep(kWhatIfStep * 2);
    slider_->setTickInterval(kWhatIfStep);
    slider_->setTickPosition(QSlider::TicksBelow);
    slider_->setAccessibleName(q(Wording::writeLess));
    auto* ends = new QHBoxLayout();
    auto* zero = label(whatIf_);
    zero->setText(q(drivekit::LocalFormat::percent(0, context.locale)));
    auto* last = label(whatIf_);
    last->setText(q(drivekit::LocalFormat::percent(kWhatIfMax, context.locale)));
    last->setAlignment(Qt::AlignRight);
    ends->addWidget(zero);
    ends->addStretch();
    ends->addWidget(last);
    sentence_ = label(whatIf_);
    whatIfLayout->addWidget(whatIfLabel_, 0, 0);
    whatIfLayout->addWidget(gain_, 0, 1);
    whatIfLayout->addWidget(whatIfHeadline_, 1, 0, 1, 2);
    whatIfLayout->addWidget(slider_, 2, 0, 1, 2);
    whatIfLayout->addLayout(ends, 3, 0, 1, 2);
    whatIfLayout->addWidget(sentence_, 4, 0, 1, 2);
    layout->addWidget(whatIf_);
    layout->addStretch();
    QObject::connect(slider_, &QSlider::valueChanged, this, [this](int value) {
        // The slider moves in steps of five, also when dragged.
        const int snapped = (value + kWhatIfStep / 2) / kWhatIfStep * kWhatIfStep;
        if (snapped != value) {
            slider_->setValue(snapped);
            return;
        }
        showWhatIf();
    });
}

void ForecastPage::update(const app::DriveSummary* drive) {
    if (drive == nullptr) return;
    const auto readings = app::ForecastHistory::sameDrive(app::Readings::of(context_.store.readings(), drive->id));
    const auto page = forecastPage(*drive, readings, context_.timers.now(), context_.locale);
    forecast_ = page.forecast;
    headline_->setText(q(page.headline));
    confidence_->setText(q(page.confidence));
    confidence_->setVisible(!page.confidence.empty());
    content_->setText(q(page.content));

    auto* chart = chart_->chart();
    chart->removeAllSeries();
    band_ = nullptr;
    for (auto* axis : chart->axes()) {
        chart->removeAxis(axis);
        delete axis;  // removing hands the axis back to us
    }
    chart_->setVisible(page.points.size() >= 2);
    if (page.points.size() >= 2) {
        if (forecast_) {
            // Drawn first, so that the readings lie over it. Its edges are its children.
            band_ = new QAreaSeries(new QLineSeries(), new QLineSeries());
            band_->upperSeries()->setParent(band_);
            band_->lowerSeries()->setParent(band_);
            QColor fill = palette().color(QPalette::Highlight);
            fill.setAlpha(70);
            band_->setBrush(fill);
            band_->setPen(QPen(palette().color(QPalette::Highlight), 1, Qt::DashLine));
            chart->addSeries(band_);
        }
        auto* used = new QLineSeries();
        auto* marks = new QScatterSeries();
        marks->setMarkerSize(em(this, 0.4));
        double top = 0;
        for (const auto& point : page.points) {
            // A decimal year is the calendar year plus the day's ordinal over 365.
            const int year = static_cast<int>(std::floor(point.year));
            const auto day = static_cast<qint64>(std::lround((point.year - year) * 365.0)) - 1;
            const QDateTime date(QDate(year, 1, 1).addDays(day), QTime(12, 0), QTimeZone::utc());
            used->append(static_cast<qreal>(date.toMSecsSinceEpoch()), point.used);
            marks->append(static_cast<qreal>(date.toMSecsSinceEpoch()), point.used);
            top = std::max(top, point.used);
        }
        chart->addSeries(used);
        chart->addSeries(marks);
        firstTime_ = used->points().front().x();
        lastTime_ = used->points().back().x();
        lastUsed_ = used->points().back().y();
        auto* x = new QDateTimeAxis();
        x->setFormat("MMM d");
        x->setTickCount(5);
        x->setRange(QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(firstTime_)),
                    QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(lastTime_)));
        auto* y = new QValueAxis();
        y->setTitleText(q(Wording::lifeUsedAxis));
        y->setLabelFormat("%.0f");
        // With the band the chart goes up to the rated endurance.
        y->setRange(0, forecast_ ? 100.0 : std::ceil(std::max(10.0, top * 1.2) / 5.0) * 5.0);
        y->setTickCount(6);
        chart->addAxis(x, Qt::AlignBottom);
        chart->addAxis(y, Qt::AlignLeft);
        for (auto* series : chart->series()) {
            series->attachAxis(x);
            series->attachAxis(y);
        }
        colour(chart, palette());
    }
    whatIf_->setVisible(forecast_.has_value());
    showWhatIf();
}

void ForecastPage::showBand(double lowYears, double highYears) {
    if (band_ == nullptr) return;
    // Past 25 years the readings would shrink to a dot at the left.
    constexpr double kYearMs = 365.0 * 86'400'000.0;
    const double reach = std::min(highYears, 25.0);
    const double fast = lastTime_ + std::min(lowYears, reach) * kYearMs;
    const double slow = lastTime_ + reach * kYearMs;
    const double slowUsed = highYears > reach ? lastUsed_ + (100.0 - lastUsed_) * reach / highYears : 100.0;
    band_->upperSeries()->replace({QPointF(lastTime_, lastUsed_), QPointF(fast, 100.0), QPointF(slow, 100.0)});
    band_->lowerSeries()->replace({QPointF(lastTime_, lastUsed_), QPointF(slow, slowUsed)});
    if (auto axes = chart_->chart()->axes(Qt::Horizontal); !axes.isEmpty()) {
        auto* x = static_cast<QDateTimeAxis*>(axes.front());
        x->setFormat(slow - firstTime_ > 2 * kYearMs ? "yyyy" : "MMM yyyy");
        x->setRange(QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(firstTime_)),
                    QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(slow)));
    }
}

void ForecastPage::showWhatIf() {
    if (!forecast_) return;
    const auto answer = whatIf(*forecast_, slider_->value(), context_.locale);
    showBand(answer.lowYears, answer.highYears);
    whatIfLabel_->setText(q(answer.label));
    whatIfHeadline_->setText(q(answer.headline));
    gain_->setText(q(answer.gain));
    sentence_->setText(q(answer.sentence));
    slider_->setAccessibleDescription(q(answer.sentence));
}

// ---------------------------------------------------------------- History

HistoryPage::HistoryPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    tabs_ = new QTabWidget(this);
    tabs_->setAccessibleName(q(Wording::history));
    auto* trends = new QWidget(tabs_);
    charts_ = new QVBoxLayout(trends);
    waiting_ = label(trends);
    charts_->addWidget(waiting_);
    charts_->addStretch();
    tabs_->addTab(trends, q(Wording::tabTrends));
    table_ = table(tabs_,
                   {q(Wording::date), q(Wording::status), q(Wording::score), q(Wording::lifeLeft),
                    q(Wording::temperature), q(Wording::written)},
                   q(Wording::tabReadings));
    tabs_->addTab(table_, q(Wording::tabReadings));
    layout->addWidget(tabs_);
}

void HistoryPage::update(const app::DriveSummary* drive) {
    // The charts are made again from the readings: a pass adds at most one an hour.
    while (charts_->count() > 2) {
        auto* item = charts_->takeAt(1);
        delete item->widget();
        delete item;
    }
    if (drive == nullptr) return;
    const auto readings = app::Readings::of(context_.store.readings(), drive->id);
    const auto page = historyPage(readings, context_.utcOffsetSeconds, context_.locale);
    waiting_->setText(q(page.waiting.empty() && readings.empty() ? std::string(Wording::noReadings) : page.waiting));
    waiting_->setVisible(!waiting_->text().isEmpty());
    std::vector<Trend> trends = page.trends;
    if (page.writtenPerDay) trends.push_back(*page.writtenPerDay);
    int at = 1;
    for (const auto& trend : trends) {
        auto* view = chartView(charts_->parentWidget(), q(trend.title));
        auto* chart = view->chart();
        chart->setTitle(q(trend.title));
        auto* series = new QLineSeries();
        double low = trend.points.front().value;
        double high = low;
        for (const auto& point : trend.points) {
            series->append(point.time, point.value);
            low = std::min(low, point.value);
            high = std::max(high, point.value);
        }
        chart->addSeries(series);
        auto* x = new QDateTimeAxis();
        x->setFormat("MMM d");
        x->setTickCount(5);
        auto* y = new QValueAxis();
        const double pad = std::max(1.0, (high - low) * 0.15);
        y->setRange(std::max(0.0, low - pad), high + pad);
        // Whole numbers would repeat on a narrow range.
        y->setLabelFormat(high + pad - std::max(0.0, low - pad) < 5 ? "%.1f" : "%.0f");
        chart->addAxis(x, Qt::AlignBottom);
        chart->addAxis(y, Qt::AlignLeft);
        series->attachAxis(x);
        series->attachAxis(y);
        colour(chart, palette());
        charts_->insertWidget(at++, view);
    }
    std::vector<std::vector<std::string>> rows;
    for (const auto& row : page.rows) {
        rows.push_back({row.date, row.status, row.score, row.lifeLeft, row.temperature, row.written});
    }
    fill(table_, rows);
    tabs_->setTabVisible(1, !rows.empty());
}

// ---------------------------------------------------------------- Health data

HealthDataPage::HealthDataPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    tabs_ = new QTabWidget(this);
    tabs_->setAccessibleName(q(Wording::healthData));
    summary_ = table(tabs_, {q(Wording::field), q(Wording::value)}, q(Wording::tabSummary));
    indicators_ = table(tabs_, {q(Wording::field), q(Wording::value), q(Wording::status), QString()},
                        q(Wording::tabIndicators));
    log_ = table(tabs_, {q(Wording::field), q(Wording::value)}, q(Wording::tabLog));
    auto* testsTab = new QWidget(tabs_);
    auto* testsLayout = new QVBoxLayout(testsTab);
    tests_ = table(testsTab, {q(Wording::test), q(Wording::result), q(Wording::atHours)}, q(Wording::tabTests));
    diagnostics_ = new QFormLayout();
    auto* runs = new QHBoxLayout();
    for (const auto& [text, scan] : {std::pair{Wording::scanSurface, true}, std::pair{Wording::runBenchmark, false}}) {
        auto* button = new QPushButton(q(text), testsTab);
        button->setAccessibleName(q(text));
        QObject::connect(button, &QPushButton::clicked, this, [this, scan] {
            const auto& asked = scan ? scanRequested : benchRequested;
            if (asked) asked();
        });
        runs->addWidget(button);
    }
    runs->addStretch();
    testsLayout->addLayout(runs);
    testsLayout->addLayout(diagnostics_);
    testsLayout->addWidget(tests_);
    tabs_->addTab(summary_, q(Wording::tabSummary));
    tabs_->addTab(indicators_, q(Wording::tabIndicators));
    tabs_->addTab(log_, q(Wording::tabLog));
    tabs_->addTab(testsTab, q(Wording::tabTests));
    layout->addWidget(tabs_);
}

void HealthDataPage::update(const app::DriveSummary* drive) {
    if (drive == nullptr) return;
    const auto kept = keptRuns(*drive, app::ScanStore::read(platform::systemFiles(), app::ScanStore::file(context_.paths.data)),
                               app::BenchStore::read(app::BenchStore::file(context_.paths.data)));
    const auto shown = healthData(*drive, kept, context_.locale);
    std::vector<std::vector<std::string>> rows;
    for (const auto& fact : shown.summary) rows.push_back({fact.label, fact.value});
    fill(summary_, rows);
    rows.clear();
    for (const auto& row : shown.indicators) rows.push_back({row.label, row.value, row.status, row.note});
    fill(indicators_, rows);
    for (int r = 0; r < static_cast<int>(shown.indicators.size()); ++r) {
        indicators_->item(r, 2)->setForeground(indicatorColour(shown.indicators[static_cast<std::size_t>(r)].level, palette()));
    }
    rows.clear();
    for (const auto& fact : shown.log) rows.push_back({fact.label, fact.value});
    fill(log_, rows);
    rows.clear();
    for (const auto& test : shown.tests) rows.push_back({test.test, test.result, test.hours});
    fill(tests_, rows);
    tests_->setVisible(!rows.empty());
    clear(diagnostics_);
    addFacts(diagnostics_, shown.diagnostics);
    // A tab the drive has nothing for is left out rather than shown empty.
    tabs_->setTabVisible(1, !shown.indicators.empty());
    tabs_->setTabVisible(2, !shown.log.empty());
    // Tests always shows: it is where a scan or a benchmark is started.
}

// ---------------------------------------------------------------- Health report

ReportPage::ReportPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    title_ = label(this, 1.6, true);
    auto* line = label(this);
    line->setText(q(Wording::reportLine));
    auto* buttons = new QHBoxLayout();
    for (const auto& [text, format] : {std::pair{Wording::savePDF, "pdf"}, std::pair{Wording::savePNG, "png"}}) {
        auto* button = new QPushButton(q(text), this);
        button->setAccessibleName(q(text));
        QObject::connect(button, &QPushButton::clicked, this, [this, kind = QString::fromLatin1(format)] { save(kind); });
        buttons->addWidget(button);
    }
    buttons->addStretch();
    contents_ = label(this);
    contents_->hide();
    status_ = label(this);
    status_->hide();
    job_ = new Job(this);
    layout->addWidget(title_);
    layout->addWidget(line);
    layout->addWidget(contents_);
    layout->addLayout(buttons);
    layout->addWidget(status_);
    layout->addStretch();
}

ReportPage::~ReportPage() {
    // A drawing still under way ends with the page, without telling it.
    for (auto* process : findChildren<QProcess*>()) {
        QObject::disconnect(process, nullptr, this, nullptr);
        process->kill();
        process->waitForFinished(1000);
    }
}

void ReportPage::update(const app::DriveSummary* drive) {
    if (drive == nullptr) return;
    if (drive->bsdName != bsdName_) {
        status_->hide();
        contents_->hide();
    }
    bsdName_ = drive->bsdName;
    name_ = drive->name;
    title_->setText(q(Wording::report) + QStringLiteral(": ") + q(name_));
    plan();
}

void ReportPage::plan() {
    if (context_.machine == nullptr || job_->running()) return;
    // Gathered as the report command gathers it, so that the sentence names what the file
    // will hold: the drive read as the list reads it, its readings, its last scan and run.
    const reports::ShareRequest request{bsdName_, false, context_.paths.readings(), context_.paths.data};
    auto sentence = std::make_shared<std::string>();
    job_->start(
        [machine = context_.machine, request, sentence] {
            const auto share = reports::shareOf(*machine, request);
            if (!share) return;
            *sentence = reports::ReportPlan::make(*share).whatsInIt(share->summary.tier == drivekit::Tier::limited);
        },
        [this, sentence, asked = bsdName_] {
            // The selection moved on while it was read: the next one is read now.
            if (asked != bsdName_) return plan();
            contents_->setText(q(Wording::fill(Wording::whatsInIt, {*sentence})));
            contents_->setVisible(!sentence->empty());
        });
}

void ReportPage::save(const QString& format) {
    if (bsdName_.empty() || !context_.saveAs) return;
    const QString file = context_.saveAs(q(name_) + QStringLiteral(" health.") + format, format);
    if (file.isEmpty()) return;
    // The report is drawn by vantrel-draw, the part of the program that links the drawing.
    const QString self = QCoreApplication::applicationDirPath();
    QString draw;
    for (const QString& candidate : {self + QStringLiteral("/vantrel-draw"), self + QStringLiteral("/../cli/vantrel-draw")}) {
        if (QFileInfo(candidate).isExecutable()) draw = candidate;
        if (!draw.isEmpty()) break;
    }
    QStringList arguments;
    for (const auto& word : context_.drawPrefix) arguments << q(word);
    arguments << QStringLiteral("report") << q(bsdName_) << QStringLiteral("--format") << format << QStringLiteral("-o")
              << file;
    auto* process = new QProcess(this);
    QObject::connect(process, &QProcess::finished, this, [this, process, file](int code, QProcess::ExitStatus status) {
        const bool made = status == QProcess::NormalExit && code == 0;
        const QString why = QString::fromUtf8(process->readAllStandardError()).trimmed();
        status_->setText(made ? q(Wording::fill(Wording::reportSaved, {file.toStdString()}))
                              : q(Wording::fill(Wording::reportFailed, {why.toStdString()})));
        status_->show();
        process->deleteLater();
    });
    QObject::connect(process, &QProcess::errorOccurred, this, [this, process](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart) return;
        status_->setText(q(Wording::fill(Wording::reportFailed, {process->errorString().toStdString()})));
        status_->show();
        process->deleteLater();
    });
    if (draw.isEmpty()) {
        // Never from the search path: only the program's own part draws.
        status_->setText(q(Wording::fill(Wording::reportFailed, {"vantrel-draw isn’t beside " + self.toStdString()})));
        status_->show();
        process->deleteLater();
        return;
    }
    process->start(draw, arguments);
}

// ---------------------------------------------------------------- About

AboutPage::AboutPage(WindowContext& context, QWidget* parent) : PageView(context, parent) {
    auto* layout = new QVBoxLayout(this);
    auto* title = label(this, 1.6, true);
    title->setText(QStringLiteral("Vantrel"));
    auto* version = label(this);
    version->setText(q(Wording::fill(Wording::version, {std::string(drivekit::version())})));
    auto* line = label(this);
    line->setText(q(Wording::aboutLine));
    layout->addWidget(title);
    layout->addWidget(version);
    layout->addWidget(line);
    layout->addStretch();
}

}  // namespace desktop
