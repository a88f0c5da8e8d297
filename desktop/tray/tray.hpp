#pragma once
// The program's presence in the panel of the desktop: a tray icon (a StatusNotifierItem
// where the desktop has a watcher for them) in the colour of the worst drive, its panel of
// drives with their USB checks, and the arrival card of a drive that was plugged in. The
// program owns the store and the main window; this only reads the store, starts, cancels
// and retries checks, and asks the program to open its window or quit.
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "desktop/tray/tray_model.hpp"

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace tray {

class TrayPanel;
class ArrivalCard;

class Tray final : public QObject {
    Q_OBJECT

  public:
    struct Options {
        bool usbCheckAvailable = false;
        drivekit::Locale locale{"en_US"};
        /// Shows the main window, on the page of the drive with that id when there is one.
        std::function<void(const std::optional<std::string>& driveID)> openWindow;
        std::function<void()> quit;
        std::function<drivekit::json::SystemTime()> now;
    };

    Tray(app::DriveStore& store, Options options, QObject* parent = nullptr);
    ~Tray() override;

    /// Whether the desktop shows tray icons at all; without, the program should keep its
    /// window, the one way back to it.
    static bool available();
    /// Puts the icon in the tray and follows the store from now on.
    void show();
    /// Reads the store again: icon, panel and card.
    void update();

    /// Opens or closes the panel beside the icon.
    void togglePanel();
    /// A line under the tooltip for a job under way ("Scanning sdb: 42%"); empty for none.
    void setActivity(const std::string& line);

    const IconLook& look() const { return look_; }
    QSystemTrayIcon& icon() { return *icon_; }
    QMenu& menu() { return *menu_; }
    TrayPanel& panel() { return *panel_; }
    ArrivalCard& card() { return *card_; }

  private:
    void act(CheckAction action, const std::string& driveID, const std::optional<std::string>& usbKey);
    void dismissCard();
    void retime(const Snapshot& snapshot);

    app::DriveStore& store_;
    Options options_;
    std::unique_ptr<QMenu> menu_;
    std::unique_ptr<QSystemTrayIcon> icon_;
    std::unique_ptr<TrayPanel> panel_;
    std::unique_ptr<ArrivalCard> card_;
    QTimer poll_;
    IconLook look_;
    bool lookShown_ = false;
    std::string activity_;
    std::set<std::string> dismissed_;
    std::optional<app::DriveSummary> remembered_;
    std::optional<Card> shownCard_;
    std::optional<Panel> shownPanel_;
};

}  // namespace tray
