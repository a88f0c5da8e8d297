#pragma once
// A page of the main window: it shows the store's state for the selected drive and changes
// nothing but preferences and the selection. The window calls `update` after every pass and
// when the selection moves; pages hold no drive data of their own between calls.
#include <QWidget>
#include <optional>

#include "app/drive_summary.hpp"
#include "app/machine.hpp"
#include "app/store/drive_store.hpp"
#include "app/store/state_files.hpp"
#include "app/store/system_stats.hpp"
#include <QString>
#include <functional>
#include <string>
#include <vector>

namespace desktop {

/// What every page reads.
struct WindowContext {
    app::DriveStore& store;
    app::Timers& timers;
    drivekit::Locale locale;
    app::StatePaths paths;
    /// Local time's offset from UTC, for days on the charts.
    long utcOffsetSeconds = 0;
    /// The system's figures; none where they aren't read (the demo machine).
    std::function<std::optional<app::SystemStats>()> system;
    /// The words before a drawing command: {"--demo"} on the demo machine.
    std::vector<std::string> drawPrefix;
    /// Asks where to save a file of this kind ("pdf", "png"); empty when the user didn't say.
    std::function<QString(const QString& suggested, const QString& kind)> saveAs;
    /// The machine the store reads, for what a page starts itself: a report's contents, a
    /// surface scan, a benchmark. None: those pages only show what the store has.
    app::Machine* machine = nullptr;
    /// This program's own /proc, for what a scan costs it while it runs; none: not shown.
    const platform::ProcFiles* ownProc = nullptr;
    /// Asks for a folder, starting at `from`; empty when the user didn't choose one.
    std::function<QString(const QString& from)> chooseFolder;
    /// Told what runs while a scan does ("Scanning sdb: 42%"), and "" when it ended.
    std::function<void(const std::string& line)> activity;
};

class PageView : public QWidget {
  public:
    explicit PageView(WindowContext& context, QWidget* parent = nullptr) : QWidget(parent), context_(context) {}
    /// Shows `drive` (the selection; none when no drive is visible).
    virtual void update(const app::DriveSummary* drive) = 0;

  protected:
    WindowContext& context_;
};

/// Units of the font, so that sizes follow the desktop's text scaling.
int em(const QWidget* widget, double units);

}  // namespace desktop
