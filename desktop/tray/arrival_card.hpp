#pragma once
// The card that comes up when a drive is plugged in: what is known of it, and for a USB
// drive that needs a hand-over the offer to check it, its steps, cancel, and its problem
// with a retry. Stays in the top corner of the screen, over other windows, until the
// store closes it or the user dismisses it.
#include <QFrame>

#include <functional>
#include <optional>
#include <string>

#include "desktop/tray/tray_model.hpp"

class QVBoxLayout;

namespace tray {

class ArrivalCard final : public QFrame {
  public:
    explicit ArrivalCard(QWidget* parent = nullptr);

    void showCard(const Card& card);

    std::function<void(CheckAction)> onAction;
    std::function<void()> onOpen;
    std::function<void()> onDismiss;

  private:
    QVBoxLayout* content_;
};

}  // namespace tray
