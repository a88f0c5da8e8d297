#include "desktop/tray/tray.hpp"

#include <QAction>
#include <QCursor>
#include <QMenu>
#include <QSystemTrayIcon>

#include "desktop/tray/arrival_card.hpp"
#include "desktop/tray/tray_icon_image.hpp"
#include "desktop/tray/tray_panel.hpp"

namespace tray {

namespace {

// How often the tray looks at a check under way (its steps move without a pass), and at
// an open panel (its "Checked 5 minutes ago" ages). Nothing runs otherwise.
constexpr int kCheckPollMs = 500;
constexpr int kPanelPollMs = 30'000;

const app::DriveSummary* byID(const std::vector<app::DriveSummary>& drives, const std::string& id) {
    const auto it = std::find_if(drives.begin(), drives.end(), [&](const app::DriveSummary& d) { return d.id == id; });
    return it == drives.end() ? nullptr : &*it;
}

}  // namespace

Tray::Tray(app::DriveStore& store, Options options, QObject* parent)
    : QObject(parent), store_(store), options_(std::move(options)) {
    if (!options_.now) options_.now = [] { return std::chrono::system_clock::now(); };
    menu_ = std::make_unique<QMenu>();
    // Some hosts open only the menu on a click, never the panel: it is in the menu too.
    auto* drives = menu_->addAction("Show drives");
    connect(drives, &QAction::triggered, this, [this] { togglePanel(); });
    auto* open = menu_->addAction("Open Vantrel");
    auto* refresh = menu_->addAction("Check drives now");
    menu_->addSeparator();
    auto* quit = menu_->addAction("Quit Vantrel");
    connect(open, &QAction::triggered, this, [this] {
        if (options_.openWindow) options_.openWindow(std::nullopt);
    });
    connect(refresh, &QAction::triggered, this, [this] { store_.refresh(); });
    connect(quit, &QAction::triggered, this, [this] {
        if (options_.quit) options_.quit();
    });

    icon_ = std::make_unique<QSystemTrayIcon>();
    icon_->setContextMenu(menu_.get());
    connect(icon_.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger) togglePanel();
        if (reason == QSystemTrayIcon::DoubleClick && options_.openWindow) options_.openWindow(std::nullopt);
    });

    panel_ = std::make_unique<TrayPanel>();
    panel_->onAction = [this](CheckAction action, const std::string& id, const std::optional<std::string>& key) {
        act(action, id, key);
    };
    panel_->onOpen = [this](const std::optional<std::string>& id) {
        if (id) store_.select(*id);
        if (options_.openWindow) options_.openWindow(id);
    };
    panel_->onQuit = [this] {
        if (options_.quit) options_.quit();
    };

    card_ = std::make_unique<ArrivalCard>();
    card_->onAction = [this](CheckAction action) {
        if (shownCard_) act(action, shownCard_->driveID, shownCard_->usbKey);
    };
    card_->onOpen = [this] {
        if (!shownCard_) return;
        store_.select(shownCard_->driveID);
        if (options_.openWindow) options_.openWindow(shownCard_->driveID);
        dismissCard();
    };
    card_->onDismiss = [this] { dismissCard(); };

    poll_.setSingleShot(false);
    connect(&poll_, &QTimer::timeout, this, [this] { update(); });
    connect(&store_, &app::DriveStore::drivesChanged, this, [this] { update(); });
}

Tray::~Tray() = default;

bool Tray::available() { return QSystemTrayIcon::isSystemTrayAvailable(); }

void Tray::show() {
    update();
    icon_->show();
}

void Tray::setActivity(const std::string& line) {
    activity_ = line;
    icon_->setToolTip(QString::fromStdString(activity_.empty() ? look_.tooltip : look_.tooltip + "\n" + activity_));
}

void Tray::update() {
    const Snapshot snapshot = snapshotOf(store_, options_.usbCheckAvailable, options_.locale, options_.now());
    dismissed_ = stillDismissed(snapshot, std::move(dismissed_));

    const IconLook look = iconOf(snapshot);
    if (!lookShown_ || look != look_) {
        look_ = look;
        lookShown_ = true;
        icon_->setIcon(tray::iconOf(look_));
        setActivity(activity_);
    }
    // Laid out again only when something changed: a press must not land on a widget
    // that the next look of a running check replaced.
    if (panel_->isVisible()) {
        Panel panel = panelOf(snapshot);
        if (panel != shownPanel_) panel_->showModel(panel);
        shownPanel_ = std::move(panel);
    }

    if (snapshot.arrival) {
        if (const auto* drive = byID(snapshot.drives, snapshot.arrival->driveID)) remembered_ = *drive;
    } else {
        remembered_.reset();
    }
    auto card = cardOf(snapshot, dismissed_, remembered_ ? &*remembered_ : nullptr);
    if (!card) {
        card_->hide();
    } else if (card != shownCard_ || !card_->isVisible()) {
        card_->showCard(*card);
    }
    shownCard_ = std::move(card);
    retime(snapshot);
}

void Tray::togglePanel() {
    if (panel_->isVisible()) {
        panel_->hide();
        return;
    }
    const Snapshot snapshot = snapshotOf(store_, options_.usbCheckAvailable, options_.locale, options_.now());
    shownPanel_ = panelOf(snapshot);
    panel_->showModel(*shownPanel_);
    const QRect at = icon_->geometry();
    panel_->popUpAt(at.isValid() && !at.isEmpty() ? at.bottomLeft() + QPoint(at.width() / 2, 0) : QCursor::pos());
    retime(snapshot);
}

void Tray::act(CheckAction action, const std::string& driveID, const std::optional<std::string>& usbKey) {
    switch (action) {
        case CheckAction::check: {
            const auto drives = store_.visibleDrives();
            if (const auto* drive = byID(drives, driveID)) store_.startUSBRead(*drive, false);
            break;
        }
        case CheckAction::cancel:
            if (usbKey) store_.cancelUSBRead(*usbKey);
            break;
        case CheckAction::retry:
            if (usbKey) store_.retryUSBRead(*usbKey);
            break;
        case CheckAction::none:
            break;
    }
    update();
}

void Tray::dismissCard() {
    if (const auto& arrival = store_.arrival()) dismissed_.insert(dismissKey(*arrival));
    update();
}

void Tray::retime(const Snapshot& snapshot) {
    const int interval = anyCheckUnderWay(snapshot) ? kCheckPollMs : panel_->isVisible() ? kPanelPollMs : 0;
    if (interval == 0) {
        poll_.stop();
    } else if (!poll_.isActive() || poll_.interval() != interval) {
        poll_.start(interval);
    }
}

}  // namespace tray
