#include "reports/render/render.hpp"

#include <QBuffer>
#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPageSize>
#include <QPainter>
#include <QPainterPath>
#include <QPdfWriter>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <functional>
#include <memory>

#include "drivekit/core/local_format.hpp"
#include "drivekit/core/text.hpp"
#include "drivekit/health/self_test.hpp"
#include "reports/page_packer.hpp"

namespace reports::render {

QColor tierColour(drivekit::Tier tier) {
    using drivekit::Tier;
    switch (tier) {
        case Tier::healthy: return {0x2e, 0x9e, 0x4f};
        case Tier::watch: return {0xb5, 0x89, 0x00};
        case Tier::warning: return {0xe0, 0x7b, 0x00};
        case Tier::failing: return {0xd9, 0x30, 0x25};
        case Tier::failed: return {0xa5, 0x0e, 0x0e};
        case Tier::limited: return {0x8e, 0x8e, 0x93};
    }
    return {0x6e, 0x6e, 0x73};
}

namespace {

using Part = ReportPlan::Part;
using drivekit::IndicatorStatus;
using drivekit::Tier;
using drivekit::LocalFormat::count;

// Qt draws text only with a GUI application object. Rendering never shows a window, so
// the offscreen platform serves everywhere (a server, CI, a desktop) and gives the same
// pixels on each; a caller that named another platform keeps it. An application made
// here lives for the one call, so a front end with its own Qt application (the monitor's)
// never meets a second one.
class GuiScope {
  public:
    GuiScope() {
        if (QCoreApplication::instance() != nullptr) {
            usable_ = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
        } else {
            if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
            // Qt's notes on its start (a missing runtime folder, say) aren't the user's
            // concern: a drawing that fails gives no bytes, and the caller says so.
            previous_ = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
            own_ = std::make_unique<QGuiApplication>(argc_, argv_);
            usable_ = true;
        }
        if (usable_) family_ = fixedFamily();
    }
    ~GuiScope() {
        if (!own_) return;
        own_.reset();
        qInstallMessageHandler(previous_);
    }
    GuiScope(const GuiScope&) = delete;
    GuiScope& operator=(const GuiScope&) = delete;
    bool usable() const { return usable_; }
    const QString& family() const { return family_; }

  private:
    // The shipped font, loaded from its file, so no other font with the same name can
    // stand in for it; without it, the system's default sans serif.
    static QString fixedFamily() {
        QString family;
        for (const char* file : {"/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
                                 "/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf"}) {
            const int id = QFontDatabase::addApplicationFont(QString::fromUtf8(file));
            if (id >= 0 && family.isEmpty()) {
                const auto families = QFontDatabase::applicationFontFamilies(id);
                if (!families.isEmpty()) family = families.front();
            }
        }
        return family.isEmpty() ? QStringLiteral("sans-serif") : family;
    }

    int argc_ = 1;
    char name_[8] = "vantrel";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QGuiApplication> own_;
    bool usable_ = false;
    QString family_;
    QtMessageHandler previous_ = nullptr;
};

QString q(const std::string& text) { return QString::fromStdString(text); }

// The light look: white paper, near-black text, grey for what is secondary, one colour
// per tier and status.
const QColor kInk(0x1d, 0x1d, 0x1f);
const QColor kSecondary(0x6e, 0x6e, 0x73);
const QColor kRule(0xd2, 0xd2, 0xd7);
const QColor kPanel(0xf5, 0xf5, 0xf7);
const QColor kAccent(0x0a, 0x66, 0xc2);

QColor colour(Tier tier) { return tierColour(tier); }

QColor colour(IndicatorStatus status) {
    switch (status) {
        case IndicatorStatus::info: return {0x8e, 0x8e, 0x93};
        case IndicatorStatus::ok: return colour(Tier::healthy);
        case IndicatorStatus::watch: return colour(Tier::watch);
        case IndicatorStatus::warning: return colour(Tier::warning);
        case IndicatorStatus::failing: return colour(Tier::failing);
    }
    return kSecondary;
}

std::string tierWord(Tier tier) {
    switch (tier) {
        case Tier::healthy: return "Healthy";
        case Tier::watch: return "Watch";
        case Tier::warning: return "Warning";
        case Tier::failing: return "Failing";
        case Tier::failed: return "Failed";
        case Tier::limited: return "Limited";
    }
    return {};
}

// "2026-03-14 09:30 UTC": a report leaves the machine, so its dates don't depend on the
// reader's zone.
std::string dateText(drivekit::json::SystemTime date) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    return drivekit::text::format("%04d-%02d-%02d %02d:%02d UTC", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
                                  utc.tm_hour, utc.tm_min);
}

std::string dayText(drivekit::json::SystemTime date) { return dateText(date).substr(0, 10); }

struct Fonts {
    QFont title, heading, body, bold, small, figure, score;

    explicit Fonts(const QString& family) {
        const auto make = [&](double pixels, bool strong) {
            QFont font(family);
            font.setPixelSize(static_cast<int>(pixels));
            font.setBold(strong);
            // Unhinted outlines measure the same on the page and in the image.
            font.setHintingPreference(QFont::PreferNoHinting);
            // Unshaped: a ligature would turn "fi" into one glyph, and the PDF's text
            // would no longer read back as the words it shows.
            font.setStyleStrategy(QFont::PreferNoShaping);
            return font;
        };
        title = make(20, true);
        heading = make(13, true);
        body = make(10, false);
        bold = make(10, true);
        small = make(8, false);
        figure = make(13, true);
        score = make(30, true);
    }
};

// Measures always; draws too when it has a painter. One path for both keeps a section's
// measured height the height it is drawn with.
struct Ink {
    QPainter* painter = nullptr;
    const Fonts& fonts;

    static constexpr int kWrap = Qt::TextWordWrap | Qt::AlignLeft | Qt::AlignTop;

    double text(double x, double y, double width, const QFont& font, const QColor& colour, const QString& text,
                int flags = kWrap) const {
        const QFontMetricsF metrics(font);
        const double height = std::ceil(metrics.boundingRect(QRectF(0, 0, width, 100000), flags, text).height());
        if (painter) {
            painter->setFont(font);
            painter->setPen(colour);
            painter->drawText(QRectF(x, y, width, height + 2), flags, text);
        }
        return height;
    }

    double textWidth(const QFont& font, const QString& text) const { return QFontMetricsF(font).horizontalAdvance(text); }

    void fill(const QRectF& rect, const QColor& colour, double radius = 0) const {
        if (!painter) return;
        painter->setPen(Qt::NoPen);
        painter->setBrush(colour);
        if (radius > 0) {
            painter->drawRoundedRect(rect, radius, radius);
        } else {
            painter->drawRect(rect);
        }
        painter->setBrush(Qt::NoBrush);
    }

    void line(double x1, double y1, double x2, double y2, const QColor& colour, double width = 0.5) const {
        if (!painter) return;
        painter->setPen(QPen(colour, width));
        painter->drawLine(QPointF(x1, y1), QPointF(x2, y2));
    }

    // A coloured word in a rounded chip; its width.
    double chip(double x, double y, const QString& word, const QColor& colour, const QFont& font) const {
        const double width = textWidth(font, word) + 12;
        const double height = QFontMetricsF(font).height() + 4;
        fill(QRectF(x, y, width, height), colour, height / 2);
        if (painter) {
            painter->setFont(font);
            painter->setPen(Qt::white);
            painter->drawText(QRectF(x, y, width, height), Qt::AlignCenter, word);
        }
        return width;
    }

    // A bar of `percent` out of 100.
    void bar(const QRectF& rect, double percent, const QColor& colour) const {
        fill(rect, kPanel, rect.height() / 2);
        const double share = std::clamp(percent, 0.0, 100.0) / 100.0;
        if (share > 0) fill(QRectF(rect.x(), rect.y(), std::max(rect.height(), rect.width() * share), rect.height()),
                            colour, rect.height() / 2);
    }
};

struct Row {
    std::string label;
    std::string value;
    std::optional<IndicatorStatus> status = std::nullopt;
    std::optional<int> percent = std::nullopt;
};

// Label and value in two columns, a status chip at the right, a thin rule under each.
double rows(const Ink& ink, double x, double y, double width, const std::vector<Row>& list) {
    const double labelWidth = width * 0.42;
    const double chipRoom = 64;
    double top = y;
    for (const Row& row : list) {
        const double valueWidth = width - labelWidth - (row.status ? chipRoom : 0) - 8;
        const double a = ink.text(x, top + 4, labelWidth - 8, ink.fonts.body, kSecondary, q(row.label));
        double b = ink.text(x + labelWidth, top + 4, valueWidth, ink.fonts.body, kInk, q(row.value));
        if (row.percent) {
            ink.bar(QRectF(x + labelWidth, top + 4 + b + 3, std::min(valueWidth, 160.0), 4), *row.percent,
                    row.status ? colour(*row.status) : kAccent);
            b += 7;
        }
        if (row.status) {
            const QString word = q(drivekit::IndicatorStatusText::label(*row.status));
            const double w = ink.textWidth(ink.fonts.small, word) + 12;
            ink.chip(x + width - w, top + 4, word, colour(*row.status), ink.fonts.small);
        }
        top += std::max(a, b) + 8;
        ink.line(x, top, x + width, top, kRule);
    }
    return top - y;
}

struct Point {
    double x = 0;  // seconds since the epoch
    double y = 0;
};

// A line chart of one series: a grey frame, the lowest and highest values at the left,
// the first and last dates under it.
double chart(const Ink& ink, double x, double y, double width, double height, const std::vector<Point>& points,
             const QColor& colour, const std::string& unit, std::optional<double> floor = std::nullopt,
             std::optional<double> ceiling = std::nullopt) {
    const double axis = 34;
    const QRectF plot(x + axis, y + 4, width - axis, height - 18);
    if (ink.painter) {
        ink.fill(plot, kPanel, 3);
        double low = points.front().y, high = points.front().y;
        for (const auto& p : points) {
            low = std::min(low, p.y);
            high = std::max(high, p.y);
        }
        if (floor) low = std::min(low, *floor);
        if (ceiling) high = std::max(high, *ceiling);
        if (high - low < 1) {
            high += 1;
            low -= 1;
        }
        const double first = points.front().x, last = points.back().x;
        const auto at = [&](const Point& p) {
            const double fx = last > first ? (p.x - first) / (last - first) : 0.5;
            return QPointF(plot.left() + 6 + fx * (plot.width() - 12),
                           plot.bottom() - 6 - (p.y - low) / (high - low) * (plot.height() - 12));
        };
        QPainterPath path;
        for (std::size_t i = 0; i < points.size(); ++i) {
            if (i == 0) path.moveTo(at(points[i]));
            else path.lineTo(at(points[i]));
        }
        ink.painter->setRenderHint(QPainter::Antialiasing, true);
        ink.painter->setPen(QPen(colour, 1.5));
        ink.painter->drawPath(path);
        ink.painter->setBrush(colour);
        for (const auto& p : points) ink.painter->drawEllipse(at(p), 1.8, 1.8);
        ink.painter->setBrush(Qt::NoBrush);
        const auto label = [&](double value) { return q(drivekit::text::format("%.0f%s", value, unit.c_str())); };
        ink.text(x, plot.top(), axis - 4, ink.fonts.small, kSecondary, label(high), Qt::AlignRight | Qt::AlignTop);
        ink.text(x, plot.bottom() - 10, axis - 4, ink.fonts.small, kSecondary, label(low), Qt::AlignRight | Qt::AlignTop);
        const auto day = [](double seconds) {
            return q(dayText(drivekit::json::SystemTime(std::chrono::seconds(static_cast<std::int64_t>(seconds)))));
        };
        ink.text(plot.left(), plot.bottom() + 3, 120, ink.fonts.small, kSecondary, day(first));
        ink.text(plot.right() - 120, plot.bottom() + 3, 120, ink.fonts.small, kSecondary, day(last),
                 Qt::AlignRight | Qt::AlignTop);
    }
    return height;
}

double seconds(drivekit::json::SystemTime date) {
    return static_cast<double>(std::chrono::duration_cast<std::chrono::seconds>(date.time_since_epoch()).count());
}

std::string hoursText(std::uint64_t hours, const drivekit::Locale& locale) {
    return count(hours, locale) + " hours (" +
           drivekit::LocalFormat::decimal(static_cast<double>(hours) / 24.0 / 365.0, 1, locale) + " years)";
}

// The figures a reader looks for first, in tiles under the verdict.
std::vector<std::pair<std::string, std::string>> keyFigures(const DriveShare& share) {
    const auto& s = share.summary;
    const auto& l = share.locale;
    std::vector<std::pair<std::string, std::string>> tiles;
    if (s.lifeLeft) tiles.emplace_back("Life left", drivekit::LocalFormat::percent(std::max(0, *s.lifeLeft), l));
    if (s.temperatureC) tiles.emplace_back("Temperature", drivekit::LocalFormat::celsius(*s.temperatureC, l));
    if (s.powerOnHours) tiles.emplace_back("Power-on time", count(*s.powerOnHours, l) + " h");
    if (s.dataWrittenBytes) {
        tiles.emplace_back("Data written",
                           drivekit::ByteSize::decimal(static_cast<std::int64_t>(*s.dataWrittenBytes), l));
    }
    if (share.document.health.forecast) tiles.emplace_back("Forecast", share.document.health.forecast->text);
    tiles.emplace_back("Capacity", drivekit::ByteSize::decimal(s.capacityBytes, l));
    return tiles;
}

double summaryPart(const Ink& ink, const DriveShare& share, double x, double y, double width) {
    const auto& s = share.summary;
    const auto& doc = share.document;
    double top = y;
    top += ink.text(x, top, width, ink.fonts.title, kInk, q(doc.drive.name)) + 2;
    std::string sub = doc.drive.device + " \u00B7 " + doc.drive.connection + " \u00B7 " +
                      drivekit::ByteSize::decimal(doc.drive.capacityBytes, share.locale);
    if (doc.drive.model && *doc.drive.model != doc.drive.name) sub = *doc.drive.model + " \u00B7 " + sub;
    top += ink.text(x, top, width, ink.fonts.body, kSecondary, q(sub)) + 12;

    // The verdict: a panel with the tier, the score, the title and the line.
    const double inner = width - 24;
    const double scoreWidth = 96;
    Ink measure{nullptr, ink.fonts};
    const auto panelBody = [&](const Ink& pen, double px, double py) {
        double h = 0;
        const double chipW = pen.chip(px, py, q(tierWord(s.tier)), colour(s.tier), ink.fonts.bold);
        (void)chipW;
        h += QFontMetricsF(ink.fonts.bold).height() + 10;
        h += pen.text(px, py + h, inner - scoreWidth, ink.fonts.heading, kInk, q(doc.health.title)) + 4;
        h += pen.text(px, py + h, inner - scoreWidth, ink.fonts.body, kInk, q(doc.health.line));
        return std::max(h, 62.0);
    };
    const double panelHeight = panelBody(measure, 0, 0) + 24;
    ink.fill(QRectF(x, top, width, panelHeight), kPanel, 8);
    panelBody(ink, x + 12, top + 12);
    const std::string score = s.score ? std::to_string(*s.score) : "\u2013";
    ink.text(x + width - 12 - scoreWidth, top + 10, scoreWidth, ink.fonts.score, colour(s.tier), q(score),
             Qt::AlignRight | Qt::AlignTop);
    ink.text(x + width - 12 - scoreWidth, top + 50, scoreWidth, ink.fonts.small, kSecondary,
             q(s.score ? "score of 100" : "no score"), Qt::AlignRight | Qt::AlignTop);
    top += panelHeight + 10;

    const auto tiles = keyFigures(share);
    const int columns = 3;
    const double tileWidth = (width - (columns - 1) * 8) / columns;
    const double tileHeight = 40;
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        const double tx = x + static_cast<double>(i % columns) * (tileWidth + 8);
        const double ty = top + static_cast<double>(i / columns) * (tileHeight + 8);
        ink.line(tx, ty, tx + tileWidth, ty, kRule);
        ink.text(tx, ty + 4, tileWidth, ink.fonts.small, kSecondary, q(tiles[i].first));
        ink.text(tx, ty + 16, tileWidth, ink.fonts.figure, kInk, q(tiles[i].second));
    }
    top += static_cast<double>((tiles.size() + columns - 1) / columns) * (tileHeight + 8);

    if (!s.findings.empty()) {
        top += 4;
        for (const auto& finding : s.findings) {
            ink.text(x, top, 10, ink.fonts.body, colour(s.tier), QStringLiteral("\u2022"));
            top += ink.text(x + 12, top, width - 12, ink.fonts.body, kInk, q(finding)) + 3;
        }
    }
    if (doc.health.forecast) {
        top += 4;
        top += ink.text(x, top, width, ink.fonts.body, kSecondary,
                        q("Forecast: " + doc.health.forecast->text + " (" +
                          std::string(drivekit::ConfidenceText::raw(doc.health.forecast->confidence)) +
                          " confidence)"));
    }
    return top - y;
}

std::vector<Row> informationRows(const DriveShare& share, const ReportPlan& plan) {
    const auto& d = share.document.drive;
    const auto& l = share.locale;
    std::vector<Row> list;
    list.push_back({"Name", d.name});
    if (d.model) list.push_back({"Model", *d.model});
    list.push_back({"Device", d.device});
    list.push_back({"Capacity", drivekit::ByteSize::decimal(d.capacityBytes, l) + " (" + count(d.capacityBytes, l) +
                                    " bytes)"});
    list.push_back({"Connection", d.connection});
    if (d.link) list.push_back({"Link", *d.link + (d.linkCeilingMBps ? ", up to " + count(*d.linkCeilingMBps, l) + " MB/s" : "")});
    if (d.transferMode) list.push_back({"Transfer mode", *d.transferMode});
    if (d.firmware) list.push_back({"Firmware", *d.firmware});
    if (d.serial) {
        list.push_back({"Serial number", *d.serial + (d.serialMasked.value_or(false) ? " (only the last characters)" : "")});
    }
    if (!plan.volumes.empty()) {
        std::string names;
        for (const auto& v : plan.volumes) names += (names.empty() ? "" : ", ") + v;
        list.push_back({plan.volumes.size() == 1 ? "Volume" : "Volumes", names});
    }
    list.push_back({"SMART status", drivekit::SMARTStatusText::label(share.document.smartStatus)});
    if (share.summary.powerOnHours) list.push_back({"Power-on time", hoursText(*share.summary.powerOnHours, l)});
    return list;
}

std::vector<Row> problemRows(const DriveShare& share) {
    const auto& doc = share.document;
    const auto& l = share.locale;
    const auto countOf = [&](IndicatorStatus status) {
        return std::count_if(doc.indicators.begin(), doc.indicators.end(),
                             [&](const auto& row) { return row.status == status; });
    };
    std::vector<Row> list;
    list.push_back({"Indicators failing", count(static_cast<std::int64_t>(countOf(IndicatorStatus::failing)), l)});
    list.push_back({"Indicators at warning", count(static_cast<std::int64_t>(countOf(IndicatorStatus::warning)), l)});
    list.push_back({"Indicators to watch", count(static_cast<std::int64_t>(countOf(IndicatorStatus::watch)), l)});
    if (doc.figures.dataErrors) list.push_back({"Data errors", count(*doc.figures.dataErrors, l)});
    const auto failedTests = std::count_if(doc.selfTests.begin(), doc.selfTests.end(), [](const auto& t) { return t.failed; });
    if (!doc.selfTests.empty()) list.push_back({"Failed self-tests", count(static_cast<std::int64_t>(failedTests), l)});
    if (doc.surfaceScan) list.push_back({"Unreadable reads in the last scan", count(doc.surfaceScan->unreadableReads, l)});
    return list;
}

// The drive's temperatures over the last 30 days of readings, with now.
std::vector<Point> temperatures(const DriveShare& share) {
    std::vector<Point> points;
    const auto since = share.context.generated - std::chrono::hours(24 * 30);
    for (const auto& r : share.context.readings) {
        if (r.temperatureC && r.date >= since) points.push_back({seconds(r.date), static_cast<double>(*r.temperatureC)});
    }
    return points;
}

double temperaturePart(const Ink& ink, const DriveShare& share, double x, double y, double width) {
    const auto& l = share.locale;
    const auto points = temperatures(share);
    int highest = *share.summary.temperatureC;
    for (const auto& p : points) highest = std::max(highest, static_cast<int>(p.y));
    double top = y;
    top += ink.text(x, top, width, ink.fonts.body, kInk,
                    q("Now " + drivekit::LocalFormat::celsius(*share.summary.temperatureC, l) + "; the highest in 30 days " +
                      drivekit::LocalFormat::celsius(highest, l) +
                      (points.empty() ? " (no earlier readings kept)." : ", over " + count(points.size(), l) +
                                                                              (points.size() == 1 ? " reading." : " readings."))));
    if (points.size() >= 2) top += 6 + chart(ink, x, top + 6, width, 110, points, colour(Tier::warning), " \u00B0C");
    return top - y;
}

double historyPart(const Ink& ink, const DriveShare& share, const ReportPlan& plan, double x, double y, double width) {
    const auto& l = share.locale;
    const auto& readings = share.context.readings;
    double top = y;
    if (readings.empty()) {
        top += ink.text(x, top, width, ink.fonts.body, kInk,
                        QStringLiteral("Vantrel keeps no readings of this drive yet. While vantrel monitor runs, it keeps "
                                       "one an hour, and the history then sharpens the forecast."));
        return top - y;
    }
    top += ink.text(x, top, width, ink.fonts.body, kInk,
                    q(count(plan.readings, l) + (plan.readings == 1 ? " reading" : " readings") + " from " +
                      dateText(readings.front().date) + " to " + dateText(readings.back().date) + "."));
    std::vector<Point> scores, life;
    for (const auto& r : readings) {
        if (r.score) scores.push_back({seconds(r.date), static_cast<double>(*r.score)});
        if (r.lifeLeft) life.push_back({seconds(r.date), static_cast<double>(*r.lifeLeft)});
    }
    if (scores.size() >= 2) {
        top += 6 + ink.text(x, top + 6, width, ink.fonts.small, kSecondary, QStringLiteral("Health score"));
        top += chart(ink, x, top, width, 100, scores, colour(share.summary.tier), "", 0.0, 100.0);
    }
    if (life.size() >= 2) {
        top += 6 + ink.text(x, top + 6, width, ink.fonts.small, kSecondary, QStringLiteral("Life left"));
        top += chart(ink, x, top, width, 100, life, kAccent, "%", 0.0, 100.0);
    }
    if (share.summary.history) {
        for (const auto& finding : *share.summary.history) {
            top += 4 + ink.text(x, top + 4, width, ink.fonts.body, kInk, q("\u2022 " + finding.message));
        }
    }
    return top - y;
}

std::vector<Row> selfTestRows(const DriveShare& share) {
    const auto& l = share.locale;
    std::vector<Row> list;
    for (const auto& entry : share.summary.selfTests) {
        std::string value = drivekit::SelfTest::label(entry.outcome) + ", at " + count(entry.powerOnHours, l) + " hours";
        if (entry.failingLBA) value += ", first bad sector " + count(*entry.failingLBA, l);
        const bool failed = std::any_of(share.document.selfTests.begin(), share.document.selfTests.end(),
                                        [&](const auto& run) { return run.failed && run.powerOnHours == entry.powerOnHours; });
        list.push_back({entry.kindLabel(), value, failed ? IndicatorStatus::failing : IndicatorStatus::ok});
    }
    return list;
}

std::string mbps(double value, const drivekit::Locale& locale) {
    return drivekit::LocalFormat::decimal(value, value >= 100 ? 0 : 1, locale) + " MB/s";
}

std::vector<Row> benchmarkRows(const DriveShare& share) {
    const auto& b = *share.document.benchmark;
    const auto& l = share.locale;
    const double ceiling = b.linkCeilingMBps ? *b.linkCeilingMBps : std::max({b.sequentialReadMBps, b.sequentialWriteMBps, 1.0});
    const auto bar = [&](double v) { return static_cast<int>(std::lround(v / ceiling * 100)); };
    std::vector<Row> list;
    list.push_back({"Sequential read", mbps(b.sequentialReadMBps, l), std::nullopt, bar(b.sequentialReadMBps)});
    list.push_back({"Sequential write", mbps(b.sequentialWriteMBps, l), std::nullopt, bar(b.sequentialWriteMBps)});
    list.push_back({"Random read (4 KB)", mbps(b.randomReadMBps, l), std::nullopt, bar(b.randomReadMBps)});
    list.push_back({"Random write (4 KB)", mbps(b.randomWriteMBps, l), std::nullopt, bar(b.randomWriteMBps)});
    std::string when = dateText(b.date) + ", " + count(b.runs, l) + (b.runs == 1 ? " run" : " runs");
    if (b.spreadPercent) when += ", results varied by " + drivekit::LocalFormat::percent(*b.spreadPercent, l);
    list.push_back({"Measured", when});
    if (b.link) list.push_back({"Link", *b.link + (b.linkCeilingMBps ? ", carries up to " + count(*b.linkCeilingMBps, l) + " MB/s" : "")});
    return list;
}

std::vector<Row> scanRows(const DriveShare& share) {
    const auto& s = *share.document.surfaceScan;
    const auto& l = share.locale;
    std::vector<Row> list;
    list.push_back({"Scanned", dateText(s.date) + ", " + (s.mode == "quick" ? "quick scan" : "full scan")});
    list.push_back({"Read", drivekit::ByteSize::decimal(static_cast<std::int64_t>(s.bytesRead), l) + " of " +
                                drivekit::ByteSize::decimal(static_cast<std::int64_t>(s.plannedBytes), l) + " in " +
                                drivekit::LocalFormat::decimal(s.seconds, 0, l) + " s, " + mbps(s.averageMBps, l) +
                                " on average"});
    if (!s.finished) list.push_back({"Ended early", s.stopped.value_or("The scan didn't finish.")});
    list.push_back({"Slow reads (over 500 ms)", count(s.slowReads, l),
                    s.slowReads > 0 ? IndicatorStatus::watch : IndicatorStatus::ok});
    list.push_back({"Unreadable reads", count(s.unreadableReads, l),
                    s.unreadableReads > 0 ? IndicatorStatus::failing : IndicatorStatus::ok});
    if (!s.unreadableBlocks.empty()) {
        std::string blocks;
        const std::size_t shown = std::min<std::size_t>(s.unreadableBlocks.size(), 12);
        for (std::size_t i = 0; i < shown; ++i) blocks += (i ? ", " : "") + count(s.unreadableBlocks[i], l);
        if (shown < s.unreadableBlocks.size()) blocks += ", and " + count(s.unreadableBlocks.size() - shown, l) + " more";
        list.push_back({"First unreadable blocks (" + count(s.blockSize, l) + " bytes each)", blocks});
    }
    return list;
}

std::vector<Row> counterRows(const DriveShare& share) {
    const auto& c = *share.counters;
    const auto& l = share.locale;
    return {
        {"Failed commands", count(c.readErrors + c.writeErrors, l),
         c.readErrors + c.writeErrors > 0 ? IndicatorStatus::warning : IndicatorStatus::ok},
        {"Data read since start-up", drivekit::ByteSize::decimal(static_cast<std::int64_t>(c.bytesRead), l)},
        {"Data written since start-up", drivekit::ByteSize::decimal(static_cast<std::int64_t>(c.bytesWritten), l)},
    };
}

const char* kMethodology[] = {
    "Vantrel rates a drive by the health data the drive keeps about itself (SMART) into a tier: healthy, watch, "
    "warning, failing or failed. Limited means its health data couldn\u2019t be read, and only what Linux sees of "
    "the drive is shown.",
    "The score out of 100 starts full and falls with each problem the drive reports, more for the problems that come "
    "before a failure; a failed self-test holds it at 20 or below.",
    "Life left is the drive\u2019s own figure of its rated wear. The forecast divides what is left by the pace of "
    "writing so far; it grows more certain with weeks of Vantrel\u2019s readings.",
    "Each indicator has a status: OK is within the normal range, Watch deserves an eye, Warning means keep backups "
    "current and plan a replacement, Failing means copy the data off now. Info rows carry no judgement.",
    "Every figure is as the drive reported it when the report was made. Vantrel only reads: nothing was written to "
    "the drive to make this report.",
};

double paragraphs(const Ink& ink, double x, double y, double width, const std::vector<std::string>& texts) {
    double top = y;
    for (const auto& text : texts) top += ink.text(x, top, width, ink.fonts.body, kInk, q(text)) + 6;
    return top - y - 6;
}

constexpr double kMargin = 50;
constexpr double kContentTop = 66;
constexpr double kContentBottom = kPageHeight - 54;
constexpr double kGap = 20;

// One section: its heading (the summary has none), then its body.
double part(const Ink& ink, const DriveShare& share, const ReportPlan& plan, Part which, double y) {
    const double x = kMargin, width = kPageWidth - 2 * kMargin;
    double top = y;
    if (which != Part::summary) {
        top += ink.text(x, top, width, ink.fonts.heading, kInk, q(ReportPlan::heading(which))) + 4;
        ink.line(x, top, x + width, top, kInk, 0.8);
        top += 2;
    }
    switch (which) {
        case Part::summary: top += summaryPart(ink, share, x, top, width); break;
        case Part::information: {
            top += rows(ink, x, top, width, informationRows(share, plan));
            if (!plan.hasSerial) top += 6 + ink.text(x, top + 6, width, ink.fonts.body, kSecondary, q(kNoHistoryWithoutSerial));
            break;
        }
        case Part::indicators: {
            std::vector<Row> list;
            for (const auto& i : share.document.indicators) list.push_back({i.label, i.value, i.status, i.percent});
            top += rows(ink, x, top, width, list);
            break;
        }
        case Part::problems: top += rows(ink, x, top, width, problemRows(share)); break;
        case Part::counters: {
            top += rows(ink, x, top, width, counterRows(share));
            top += 6 + ink.text(x, top + 6, width, ink.fonts.small, kSecondary,
                                QStringLiteral("Linux counts the commands that failed on the drive since the computer "
                                               "started; it doesn\u2019t tell reads from writes."));
            break;
        }
        case Part::temperature: top += temperaturePart(ink, share, x, top + 4, width) + 4; break;
        case Part::history: top += historyPart(ink, share, plan, x, top + 4, width) + 4; break;
        case Part::selfTests: top += rows(ink, x, top, width, selfTestRows(share)); break;
        case Part::benchmark: top += rows(ink, x, top, width, benchmarkRows(share)); break;
        case Part::surfaceScan: top += rows(ink, x, top, width, scanRows(share)); break;
        case Part::readSource: {
            top += 4 + ink.text(x, top + 4, width, ink.fonts.body, kInk, q(share.document.reading.description));
            break;
        }
        case Part::methodology: {
            top += 4 + paragraphs(ink, x, top + 4, width,
                                  std::vector<std::string>(std::begin(kMethodology), std::end(kMethodology)));
            break;
        }
    }
    return top - y;
}

void pageFrame(const Ink& ink, const DriveShare& share, int page, int pages) {
    const double width = kPageWidth - 2 * kMargin;
    ink.text(kMargin, 30, width / 2, ink.fonts.bold, kAccent, QStringLiteral("Vantrel Health Report"));
    ink.text(kMargin + width / 2, 30, width / 2, ink.fonts.small, kSecondary, q(share.document.drive.name),
             Qt::AlignRight | Qt::AlignTop);
    ink.line(kMargin, 48, kMargin + width, 48, kRule);
    ink.line(kMargin, kPageHeight - 44, kMargin + width, kPageHeight - 44, kRule);
    ink.text(kMargin, kPageHeight - 38, width * 0.75, ink.fonts.small, kSecondary,
             q("Made " + dateText(share.context.generated) + " by Vantrel " + share.document.generator.version +
               " without writing to the drive."));
    ink.text(kMargin + width * 0.75, kPageHeight - 38, width * 0.25, ink.fonts.small, kSecondary,
             q(drivekit::text::format("Page %d of %d", page + 1, pages)), Qt::AlignRight | Qt::AlignTop);
}

void drawPage(QPainter& painter, const Fonts& fonts, const DriveShare& share, const Layout& laid, int page) {
    painter.fillRect(QRectF(0, 0, kPageWidth, kPageHeight), Qt::white);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setRenderHint(QPainter::TextAntialiasing, true);
    const Ink ink{&painter, fonts};
    pageFrame(ink, share, page, static_cast<int>(laid.pages.size()));
    double y = kContentTop;
    bool first = true;
    for (const int index : laid.pages[static_cast<std::size_t>(page)]) {
        if (!first) y += kGap;
        first = false;
        y += part(ink, share, laid.plan, laid.plan.parts[static_cast<std::size_t>(index)], y);
    }
}

Layout measured(const DriveShare& share, const Fonts& fonts) {
    Layout laid;
    laid.plan = ReportPlan::make(share);
    const Ink measure{nullptr, fonts};
    std::vector<PagePacker::Item> items;
    for (std::size_t i = 0; i < laid.plan.parts.size(); ++i) {
        const Part which = laid.plan.parts[i];
        PagePacker::Item item;
        item.height = part(measure, share, laid.plan, which, 0);
        item.spacingBefore = kGap;
        // The verdict stands with what the drive is; the closing notes stay together.
        item.keepsWithNext = which == Part::summary || which == Part::readSource;
        items.push_back(item);
    }
    laid.pages = PagePacker::pack(items, kContentBottom - kContentTop);
    return laid;
}

std::string bytesOf(const QImage& image) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) return {};
    return bytes.toStdString();
}

// Cards are 600 x 315 points: the shape link previews and chats show whole.
constexpr double kCardWidth = 600;
constexpr double kCardHeight = 315;

void cardFrame(const Ink& ink, const DriveShare& share, const std::string& what) {
    ink.fill(QRectF(0, 0, kCardWidth, kCardHeight), Qt::white);
    ink.fill(QRectF(0, 0, kCardWidth, 6), colour(share.summary.tier));
    ink.text(28, 24, 300, ink.fonts.bold, kAccent, q("Vantrel \u00B7 " + what));
    ink.text(300, 24, kCardWidth - 328, ink.fonts.small, kSecondary, q(dateText(share.context.generated)),
             Qt::AlignRight | Qt::AlignTop);
    ink.text(28, 44, kCardWidth - 56, ink.fonts.title, kInk, q(share.document.drive.name), Qt::AlignLeft | Qt::AlignTop);
}

void healthCard(const Ink& ink, const DriveShare& share) {
    const auto& s = share.summary;
    cardFrame(ink, share, "Disk Health");
    const double left = 28, width = kCardWidth - 56;
    ink.text(left, 72, width, ink.fonts.body, kSecondary,
             q(share.document.drive.device + " \u00B7 " + share.document.drive.connection + " \u00B7 " +
               drivekit::ByteSize::decimal(s.capacityBytes, share.locale)));
    ink.chip(left, 98, q(tierWord(s.tier)), colour(s.tier), ink.fonts.bold);
    ink.text(kCardWidth - 28 - 120, 88, 120, ink.fonts.score, colour(s.tier), q(s.score ? std::to_string(*s.score) : "\u2013"),
             Qt::AlignRight | Qt::AlignTop);
    ink.text(kCardWidth - 28 - 120, 126, 120, ink.fonts.small, kSecondary, q(s.score ? "score of 100" : "no score"),
             Qt::AlignRight | Qt::AlignTop);
    const double h = ink.text(left, 124, width - 140, ink.fonts.heading, kInk, q(share.document.health.title));
    QString line = q(share.document.health.line);
    const QFontMetricsF metrics(ink.fonts.body);
    if (metrics.boundingRect(QRectF(0, 0, width - 140, 1000), Ink::kWrap, line).height() > 3 * metrics.lineSpacing()) {
        line = metrics.elidedText(line, Qt::ElideRight, (width - 140) * 2.6);
    }
    ink.text(left, 128 + h, width - 140, ink.fonts.body, kInk, line);
    const auto tiles = keyFigures(share);
    const std::size_t shown = std::min<std::size_t>(tiles.size(), 4);
    const double tileWidth = (width - 3 * 10) / 4;
    for (std::size_t i = 0; i < shown; ++i) {
        const double tx = left + static_cast<double>(i) * (tileWidth + 10);
        ink.line(tx, 232, tx + tileWidth, 232, kRule);
        ink.text(tx, 238, tileWidth, ink.fonts.small, kSecondary, q(tiles[i].first));
        ink.text(tx, 252, tileWidth, ink.fonts.figure, kInk, q(tiles[i].second));
    }
    ink.text(left, 290, width, ink.fonts.small, kSecondary,
             q("Read from the drive\u2019s own health data by Vantrel " + share.document.generator.version + "."));
}

void benchmarkCard(const Ink& ink, const DriveShare& share) {
    const auto& b = *share.document.benchmark;
    cardFrame(ink, share, "Benchmark");
    const auto rowsOf = benchmarkRows(share);
    const double left = 28, width = kCardWidth - 56;
    const double ceiling = b.linkCeilingMBps ? *b.linkCeilingMBps : std::max({b.sequentialReadMBps, b.sequentialWriteMBps, 1.0});
    const double values[] = {b.sequentialReadMBps, b.sequentialWriteMBps, b.randomReadMBps, b.randomWriteMBps};
    for (int i = 0; i < 4; ++i) {
        const double y = 82 + i * 44;
        ink.text(left, y, 200, ink.fonts.body, kSecondary, q(rowsOf[static_cast<std::size_t>(i)].label));
        ink.text(left + width - 160, y - 2, 160, ink.fonts.figure, kInk, q(rowsOf[static_cast<std::size_t>(i)].value),
                 Qt::AlignRight | Qt::AlignTop);
        ink.bar(QRectF(left, y + 20, width, 8), values[i] / ceiling * 100, kAccent);
    }
    std::string foot = dateText(b.date);
    if (b.link) foot += " \u00B7 " + *b.link;
    if (b.linkCeilingMBps) foot += ", bars against the link\u2019s " + count(*b.linkCeilingMBps, share.locale) + " MB/s";
    ink.text(left, 290, width, ink.fonts.small, kSecondary, q(foot));
}

void scanCard(const Ink& ink, const DriveShare& share) {
    const auto& s = *share.document.surfaceScan;
    cardFrame(ink, share, "Surface Scan");
    const double left = 28, width = kCardWidth - 56;
    const bool clean = s.unreadableReads == 0;
    const QColor tone = clean ? (s.slowReads > 0 ? colour(Tier::watch) : colour(Tier::healthy)) : colour(Tier::failing);
    ink.text(left, 82, width, ink.fonts.heading, tone,
             q(clean ? (s.slowReads > 0 ? "Every block read, some of them slowly." : "Every block read.")
                     : count(s.unreadableReads, share.locale) + (s.unreadableReads == 1 ? " read failed." : " reads failed.")));
    const auto list = scanRows(share);
    double y = 110;
    for (std::size_t i = 0; i < std::min<std::size_t>(list.size(), 4); ++i) {
        ink.text(left, y, 200, ink.fonts.small, kSecondary, q(list[i].label));
        y += 4 + ink.text(left + 200, y, width - 200, ink.fonts.body, kInk, q(list[i].value));
    }
    // Where on the disk the unreadable blocks lie.
    const QRectF strip(left, 250, width, 18);
    ink.fill(strip, QColor(0xd7, 0xf0, 0xdd), 3);
    const double total = s.blockSize > 0 ? static_cast<double>(s.plannedBytes) / s.blockSize : 0;
    if (total > 0) {
        for (const auto block : s.unreadableBlocks) {
            const double at = strip.left() + std::min(1.0, static_cast<double>(block) / total) * (strip.width() - 2);
            ink.fill(QRectF(at, strip.top(), 2, strip.height()), colour(Tier::failing));
        }
    }
    ink.text(left, 274, width, ink.fonts.small, kSecondary, QStringLiteral("Start of the disk"));
    ink.text(left, 274, width, ink.fonts.small, kSecondary, QStringLiteral("End"), Qt::AlignRight | Qt::AlignTop);
    ink.text(left, 290, width, ink.fonts.small, kSecondary, q("Vantrel only read the disk; nothing was written."));
}

}  // namespace

Layout layout(const DriveShare& share) {
    const GuiScope gui;
    if (!gui.usable()) return Layout{ReportPlan::make(share), {}};
    const Fonts fonts(gui.family());
    return measured(share, fonts);
}

std::optional<std::string> reportPDF(const DriveShare& share, const std::string& title) {
    const GuiScope gui;
    if (!gui.usable()) return std::nullopt;
    const Fonts fonts(gui.family());
    const Layout laid = measured(share, fonts);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&buffer);
        writer.setPageSize(QPageSize(QPageSize::Letter));
        writer.setPageMargins(QMarginsF(0, 0, 0, 0));
        // One unit a point: the page is drawn in the coordinates it is measured in.
        writer.setResolution(72);
        writer.setCreator(QStringLiteral("Vantrel"));
        writer.setTitle(q(title.empty() ? "Vantrel Health Report \u2013 " + share.document.drive.name : title));
        QPainter painter;
        if (!painter.begin(&writer)) return std::nullopt;
        for (int page = 0; page < static_cast<int>(laid.pages.size()); ++page) {
            if (page > 0) writer.newPage();
            drawPage(painter, fonts, share, laid, page);
        }
        painter.end();
    }
    return bytes.toStdString();
}

std::optional<std::string> reportPNG(const DriveShare& share, double scale, std::optional<int> page) {
    const GuiScope gui;
    if (!gui.usable()) return std::nullopt;
    const Fonts fonts(gui.family());
    const Layout laid = measured(share, fonts);
    const int pages = static_cast<int>(laid.pages.size());
    if (page && (*page < 0 || *page >= pages)) return std::nullopt;
    const int shown = page ? 1 : pages;
    const int pageHeight = static_cast<int>(std::lround(kPageHeight * scale));
    QImage image(static_cast<int>(std::lround(kPageWidth * scale)), pageHeight * shown, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    for (int i = 0; i < shown; ++i) {
        painter.save();
        painter.translate(0, i * pageHeight);
        painter.scale(scale, scale);
        drawPage(painter, fonts, share, laid, page ? *page : i);
        painter.restore();
        if (i > 0) {
            painter.setPen(QPen(kRule, 1));
            painter.drawLine(0, i * pageHeight, image.width(), i * pageHeight);
        }
    }
    painter.end();
    auto bytes = bytesOf(image);
    if (bytes.empty()) return std::nullopt;
    return bytes;
}

std::optional<std::string> cardPNG(const DriveShare& share, Card card, double scale) {
    if (card == Card::benchmark && !share.document.benchmark) return std::nullopt;
    if (card == Card::scan && !share.document.surfaceScan) return std::nullopt;
    const GuiScope gui;
    if (!gui.usable()) return std::nullopt;
    const Fonts fonts(gui.family());
    QImage image(static_cast<int>(std::lround(kCardWidth * scale)), static_cast<int>(std::lround(kCardHeight * scale)),
                 QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setRenderHint(QPainter::TextAntialiasing, true);
    painter.scale(scale, scale);
    const Ink ink{&painter, fonts};
    switch (card) {
        case Card::health: healthCard(ink, share); break;
        case Card::benchmark: benchmarkCard(ink, share); break;
        case Card::scan: scanCard(ink, share); break;
    }
    painter.end();
    auto bytes = bytesOf(image);
    if (bytes.empty()) return std::nullopt;
    return bytes;
}

}  // namespace reports::render

namespace reports::ShareItems {

ShareItem healthReport(const DriveShare& share) {
    ShareItem item;
    item.title = "Share health report";
    item.what = "Health Report";
    item.driveName = share.document.drive.name;
    item.date = share.context.generated;
    item.formats = {ShareFormat::pdf, ShareFormat::png, ShareFormat::json};
    item.offersFullSerial = share.wholeSerial.has_value();
    item.note = ShareItem::volumeNote(share.document.drive.volumes);
    // The PDF's title is the document's name: its file name without the extension.
    std::string title = item.fileName(ShareFormat::pdf);
    title.resize(title.size() - 4);
    item.make = [share, title](const ShareOptions& options) -> std::optional<std::string> {
        const DriveShare shown = share.withSerial(options.fullSerial);
        switch (options.format) {
            case ShareFormat::pdf: return render::reportPDF(shown, title);
            case ShareFormat::png:
                return render::reportPNG(shown, 2.0, options.page ? std::optional<int>(*options.page - 1) : std::nullopt);
            case ShareFormat::json: return drivekit::HealthDocument::json(shown.document) + "\n";
        }
        return std::nullopt;
    };
    return item;
}

ShareItem card(const DriveShare& share, render::Card card) {
    ShareItem item;
    switch (card) {
        case render::Card::health:
            item.title = "Share disk health";
            item.what = "Disk Health";
            break;
        case render::Card::benchmark:
            item.title = "Share benchmark result";
            item.what = "Benchmark";
            break;
        case render::Card::scan:
            item.title = "Share surface scan";
            item.what = "Surface Scan";
            break;
    }
    item.driveName = share.document.drive.name;
    item.date = share.context.generated;
    item.formats = {ShareFormat::png};
    item.make = [share, card](const ShareOptions&) { return render::cardPNG(share, card, 2.0); };
    return item;
}

}  // namespace reports::ShareItems
