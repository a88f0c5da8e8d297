#include "desktop/window/main_window.hpp"

#include <QAction>
#include <QCloseEvent>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPainter>
#include <QScrollArea>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include "desktop/model/page_wording.hpp"
#include "desktop/model/system_page.hpp"
#include "desktop/window/appearance.hpp"
#include "desktop/window/pages.hpp"
#include "desktop/window/run_pages.hpp"
#include "desktop/window/settings_page.hpp"
#include "desktop/window/widgets.hpp"

namespace desktop {

namespace {

constexpr int kPageRole = Qt::UserRole + 1;

QIcon tierDot(drivekit::Tier tier, const QPalette& palette, int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(tierColour(tier, palette));
    painter.drawEllipse(QRectF(size * 0.2, size * 0.2, size * 0.6, size * 0.6));
    return QIcon(pixmap);
}

// Pages taller than the window scroll; their width follows the window.
QScrollArea* scrolled(QWidget* page) {
    auto* area = new QScrollArea();
    area->setWidget(page);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    return area;
}

}  // namespace

MainWindow::MainWindow(WindowContext& context, Options options, QWidget* parent)
    : QMainWindow(parent), context_(context), options_(std::move(options)) {
    setWindowTitle(QStringLiteral("Vantrel"));
    auto* sidebar = new QWidget(this);
    auto* side = new QVBoxLayout(sidebar);
    auto* drivesTitle = new QLabel(q(Wording::drives), sidebar);
    QFont bold = drivesTitle->font();
    bold.setBold(true);
    drivesTitle->setFont(bold);
    side->addWidget(drivesTitle);
    drives_ = new QListWidget(sidebar);
    drives_->setAccessibleName(q(Wording::drives));
    drives_->setContextMenuPolicy(Qt::CustomContextMenu);
    drives_->setIconSize(QSize(em(this, 1), em(this, 1)));
    side->addWidget(drives_, 1);
    pages_ = new QListWidget(sidebar);
    pages_->setAccessibleName(q(Wording::overview));
    int group = 0;
    for (const auto& entry : sidebarPages(options_.systemFigures, options_.writesCounted)) {
        if (entry.group != group) {
            // The gap between the groups: a row that can't be chosen.
            auto* gap = new QListWidgetItem(pages_);
            gap->setFlags(Qt::NoItemFlags);
            gap->setSizeHint(QSize(1, em(this, 0.5)));
            group = entry.group;
        }
        auto* item = new QListWidgetItem(q(entry.title), pages_);
        item->setData(kPageRole, static_cast<int>(entry.page));
    }
    pages_->setFixedHeight(pages_->sizeHintForRow(0) * (pages_->count() + 1));
    side->addWidget(pages_);
    footer_ = new QLabel(sidebar);
    footer_->setWordWrap(true);
    side->addWidget(footer_);
    auto* footer = new QHBoxLayout();
    settings_ = new QToolButton(sidebar);
    settings_->setText(q(Wording::settings));
    settings_->setAccessibleName(q(Wording::settings));
    settings_->setToolTip(q(Wording::settings) + QStringLiteral(" (Ctrl+,)"));
    about_ = new QToolButton(sidebar);
    about_->setText(QStringLiteral("Vantrel"));
    about_->setAccessibleName(q(Wording::about));
    about_->setToolTip(q(Wording::about));
    footer->addWidget(about_);
    footer->addStretch();
    footer->addWidget(settings_);
    side->addLayout(footer);
    sidebar->setMinimumWidth(em(this, 14));

    auto* right = new QWidget(this);
    auto* rightLayout = new QVBoxLayout(right);
    notice_ = new QLabel(q(Wording::noService), right);
    notice_->setWordWrap(true);
    notice_->setAccessibleName(q(Wording::noService));
    notice_->setFrameShape(QFrame::StyledPanel);
    notice_->setMargin(em(this, 0.5));
    notice_->setVisible(options_.serviceMissing);
    rightLayout->addWidget(notice_);
    stack_ = new QStackedWidget(right);
    rightLayout->addWidget(stack_, 1);
    const auto add = [&](Page page, PageView* view) {
        view->setAccessibleName(q(pageTitle(page)));
        views_[page] = view;
        stack_->addWidget(scrolled(view));
    };
    add(Page::overview, new OverviewPage(context_));
    add(Page::swap, new SwapPage(context_));
    add(Page::writes, new WritesPage(context_));
    add(Page::forecast, new ForecastPage(context_));
    add(Page::history, new HistoryPage(context_));
    auto* healthData = new HealthDataPage(context_);
    healthData->scanRequested = [this] { showPage(Page::scan); };
    healthData->benchRequested = [this] { showPage(Page::bench); };
    add(Page::healthData, healthData);
    auto* settings = new SettingsPage(context_, options_.system);
    settings->changed = [this] { refresh(); };
    add(Page::report, new ReportPage(context_));
    add(Page::settings, settings);
    add(Page::about, new AboutPage(context_));
    add(Page::scan, new ScanPage(context_));
    add(Page::bench, new BenchPage(context_));

    auto* splitter = new QSplitter(this);
    splitter->addWidget(sidebar);
    splitter->addWidget(right);
    splitter->setStretchFactor(1, 1);
    splitter->setChildrenCollapsible(false);
    setCentralWidget(splitter);
    resize(em(this, 58), em(this, 40));

    QObject::connect(drives_, &QListWidget::currentRowChanged, this, [this](int row) {
        if (filling_ || row < 0 || row >= static_cast<int>(rows_.size())) return;
        context_.store.select(rows_[static_cast<std::size_t>(row)].id);
        if (page_ == Page::settings || page_ == Page::about) showPage(Page::overview);
        refresh();
    });
    QObject::connect(pages_, &QListWidget::currentItemChanged, this, [this](QListWidgetItem* item) {
        if (filling_ || item == nullptr || !(item->flags() & Qt::ItemIsSelectable)) return;
        showPage(static_cast<Page>(item->data(kPageRole).toInt()));
    });
    QObject::connect(drives_, &QListWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QMenu menu(this);
        fillContextMenu(menu, drives_->indexAt(at).row());
        menu.exec(drives_->viewport()->mapToGlobal(at));
    });
    QObject::connect(settings_, &QToolButton::clicked, this, [this] { showPage(Page::settings); });
    QObject::connect(about_, &QToolButton::clicked, this, [this] { showPage(Page::about); });
    auto* preferences = new QShortcut(QKeySequence(QStringLiteral("Ctrl+,")), this);
    QObject::connect(preferences, &QShortcut::activated, this, [this] { showPage(Page::settings); });
    // Queued: a setting changed by a click announces a change too, and the page it
    // rebuilds holds the control still inside its click.
    QObject::connect(&context_.store, &app::DriveStore::drivesChanged, this, [this] { refresh(); },
                     Qt::QueuedConnection);
    setTabOrder(drives_, pages_);
    setTabOrder(pages_, about_);
    setTabOrder(about_, settings_);
    refresh();
    showPage(Page::overview);
}

void MainWindow::fillContextMenu(QMenu& menu, int row) {
    QAction* all = menu.addAction(q(Wording::checkEveryDrive));
    QObject::connect(all, &QAction::triggered, this, [this] { context_.store.refresh(); });
    if (row < 0 || row >= static_cast<int>(rows_.size())) return;
    for (const auto& [page, text] : {std::pair{Page::scan, Wording::scanSurface}, std::pair{Page::bench, Wording::runBenchmark}}) {
        QAction* run = menu.addAction(q(text));
        QObject::connect(run, &QAction::triggered, this, [this, page, row] { openRun(page, row); });
    }
    if (!rows_[static_cast<std::size_t>(row)].usb) return;
    const std::string id = rows_[static_cast<std::size_t>(row)].id;
    QAction* read = menu.addAction(q(Wording::readHealthNow));
    QObject::connect(read, &QAction::triggered, this, [this, id] {
        for (const auto& drive : context_.store.allDrives()) {
            if (drive.id == id) context_.store.startUSBRead(drive, false);
        }
    });
}

void MainWindow::openRun(Page page, int row) {
    if (row >= 0 && row < static_cast<int>(rows_.size())) {
        context_.store.select(rows_[static_cast<std::size_t>(row)].id);
        refresh();
    }
    showPage(page);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // A scan or a benchmark is the window's: closing it stops them. Their threads are
    // joined when the pages go, at the latest as the program ends.
    static_cast<ScanPage*>(views_[Page::scan])->cancel();
    static_cast<BenchPage*>(views_[Page::bench])->cancel();
    QMainWindow::closeEvent(event);
}

PageView* MainWindow::pageView(Page page) const {
    const auto it = views_.find(page);
    return it == views_.end() ? nullptr : it->second;
}

void MainWindow::showPage(Page page) {
    page_ = page;
    stack_->setCurrentIndex(static_cast<int>(page));
    filling_ = true;
    pages_->clearSelection();
    for (int i = 0; i < pages_->count(); ++i) {
        auto* item = pages_->item(i);
        if ((item->flags() & Qt::ItemIsSelectable) && item->data(kPageRole).toInt() == static_cast<int>(page)) {
            pages_->setCurrentRow(i);
        }
    }
    filling_ = false;
    views_[page]->update(selected());
}

const app::DriveSummary* MainWindow::selected() const {
    const auto& id = context_.store.selectedID();
    const auto& drives = context_.store.allDrives();
    for (const auto& drive : drives) {
        if (id && drive.id == *id) return &drive;
    }
    // Before the store chose one, the first visible drive.
    for (const auto& row : rows_) {
        for (const auto& drive : drives) {
            if (drive.id == row.id) return &drive;
        }
    }
    return nullptr;
}

void MainWindow::showDrives() {
    filling_ = true;
    const auto visible = context_.store.visibleDrives();
    rows_ = sidebarDrives(visible);
    drives_->clear();
    const auto* chosen = selected();
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        const auto& row = rows_[i];
        QString detail = q(row.tag) + QStringLiteral(" · ") + q(row.tierLabel);
        if (!row.score.empty()) detail += QStringLiteral(" · ") + q(row.score);
        auto* item = new QListWidgetItem(tierDot(row.tier, palette(), em(this, 1)), q(row.name) + '\n' + detail, drives_);
        item->setToolTip(q(row.name));
        item->setData(Qt::AccessibleTextRole, q(row.name) + QStringLiteral(", ") + detail);
        if (chosen != nullptr && chosen->id == row.id) drives_->setCurrentRow(static_cast<int>(i));
    }
    filling_ = false;
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    // The tier dots and the charts are painted in the palette's colours.
    if (event->type() == QEvent::PaletteChange && !filling_ && !views_.empty()) refresh();
}

void MainWindow::refresh() {
    showDrives();
    const auto stats = context_.system ? context_.system() : std::nullopt;
    footer_->setText(stats ? QString::fromStdString(footer(*stats, context_.locale)) : QString());
    footer_->setVisible(stats.has_value());
    views_[page_]->update(selected());
}

}  // namespace desktop
