#pragma once
// The panel that opens from the tray icon: every visible drive with its tier, score and
// line, its USB check (button, step, problem), when the drives were last checked, and the
// ways to the main window and out of the program. It lays out a `Panel` and reports
// presses; it reads nothing itself.
#include <QFrame>

#include <functional>
#include <optional>
#include <string>

#include "desktop/tray/tray_model.hpp"

class QVBoxLayout;
class QLabel;

namespace tray {

class TrayPanel final : public QFrame {
  public:
    explicit TrayPanel(QWidget* parent = nullptr);

    /// Lays out the panel anew.
    void showModel(const tray::Panel& panel);
    /// Opens it beside `anchor` (the icon, or the pointer), inside the screen.
    void popUpAt(const QPoint& anchor);

    std::function<void(CheckAction, const std::string& driveID, const std::optional<std::string>& usbKey)> onAction;
    /// With a drive's id, or without for the window as it was.
    std::function<void(const std::optional<std::string>& driveID)> onOpen;
    std::function<void()> onQuit;

  private:
    QVBoxLayout* rows_;
    QLabel* lastRefresh_;
};

/// Sets a widget of fixed width to the height its wrapped lines need.
void fitHeight(QWidget& widget);

/// A check's status, advice, code and button, as the panel and the card show them.
QWidget* checkWidget(const CheckView& check, const std::function<void()>& press, QWidget* parent);

}  // namespace tray
