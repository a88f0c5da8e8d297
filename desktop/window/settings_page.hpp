#pragma once
// Settings, in five tabs: general, checking, notifications, drives, data. Every control
// writes the preferences through the store at once; nothing else changes here, apart
// from the login entry and the readings file the user asked to save elsewhere.
#include <QPalette>
#include <QTabWidget>
#include <functional>

#include "desktop/window/page_view.hpp"

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QSpinBox;
class QVBoxLayout;

namespace desktop {

class SettingsPage final : public PageView {
  public:
    SettingsPage(WindowContext& context, QPalette system, QWidget* parent = nullptr);
    void update(const app::DriveSummary* drive) override;
    QTabWidget* tabs() const { return tabs_; }
    /// Called after a preference changed (once the control's own signal is done).
    std::function<void()> changed;

  private:
    QWidget* general();
    QWidget* checking();
    QWidget* notifications();
    QWidget* drives();
    QWidget* data();
    void change(const std::function<void(app::Prefs&)>& edit);
    void showPrefs();

    QPalette system_;
    QTabWidget* tabs_;
    QComboBox* appearance_ = nullptr;
    QComboBox* trayShows_ = nullptr;
    QCheckBox* login_ = nullptr;
    QComboBox* checkEvery_ = nullptr;
    QCheckBox* plugCard_ = nullptr;
    QCheckBox* autoCheck_ = nullptr;
    QLabel* handedOver_ = nullptr;
    QPushButton* forget_ = nullptr;
    QCheckBox* worse_ = nullptr;
    QCheckBox* checked_ = nullptr;
    QCheckBox* ejected_ = nullptr;
    QCheckBox* lowSpace_ = nullptr;
    QSpinBox* lowSpacePercent_ = nullptr;
    QCheckBox* hot_ = nullptr;
    QVBoxLayout* driveList_ = nullptr;
    QComboBox* keepDays_ = nullptr;
    QLabel* readingsKept_ = nullptr;
    QPushButton* deleteReadings_ = nullptr;
    bool deleteArmed_ = false;
    bool showing_ = false;
};

}  // namespace desktop
