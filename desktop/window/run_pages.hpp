#pragma once
// The pages that run something on a drive when the user says so: a surface scan of the
// selected drive and a benchmark in a folder on it. Each runs on a thread of its own
// (`Job`) and shows its progress as it comes; Cancel, closing the window or quitting stops
// it at its next look and waits for it.
#include <QLabel>
#include <QWidget>
#include <optional>
#include <string>

#include "app/bench/bench_run.hpp"
#include "app/process_use.hpp"
#include "app/scan/scan_run.hpp"
#include "desktop/model/run_views.hpp"
#include "desktop/window/page_view.hpp"

class QFormLayout;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QRadioButton;

namespace desktop {

class Job;

/// The scan's map: one cell for each region of the drive, in the colour of its state.
class ScanMapView final : public QWidget {
  public:
    explicit ScanMapView(QWidget* parent = nullptr);
    void show(const std::optional<drivekit::ScanMap>& map);
    QSize sizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    std::optional<drivekit::ScanMap> map_;
};

class ScanPage final : public PageView {
  public:
    explicit ScanPage(WindowContext& context, QWidget* parent = nullptr);
    ~ScanPage() override;
    void update(const app::DriveSummary* drive) override;

    /// Starts a scan of the shown drive, as the Start button does.
    void start();
    /// Stops a scan under way; it ends at its next read.
    void cancel();
    RunState state() const { return state_; }
    Job& job() const { return *job_; }

  private:
    void showProgress(const drivekit::surface_scan::Result& result);
    void finish(const app::ScanRun::Outcome& outcome);
    void sampleUse();
    void showControls();

    QLabel* title_;
    QRadioButton* quick_;
    QRadioButton* full_;
    QPushButton* start_;
    QPushButton* cancel_;
    QProgressBar* bar_;
    QLabel* line_;
    ScanMapView* map_;
    QLabel* useTitle_;
    QLabel* use_;
    QLabel* failure_;
    QFormLayout* result_;
    Job* job_;
    class QTimer* sampler_;
    RunState state_ = RunState::idle;
    /// The drive shown; while a scan runs, the one scanned.
    std::string bsdName_;
    std::string name_;
    app::ScanUsage usage_;
    std::optional<app::ProcessUse> lastUse_;
};

class BenchPage final : public PageView {
  public:
    explicit BenchPage(WindowContext& context, QWidget* parent = nullptr);
    ~BenchPage() override;
    void update(const app::DriveSummary* drive) override;

    void setFolder(const QString& folder);
    QString folder() const;
    void start();
    void cancel();
    RunState state() const { return state_; }
    Job& job() const { return *job_; }

  private:
    void finish(const app::BenchRun& run);
    void showControls();

    QLabel* title_;
    QLineEdit* folder_;
    QPushButton* choose_;
    QPushButton* start_;
    QPushButton* cancel_;
    QProgressBar* bar_;
    QLabel* line_;
    QLabel* headline_;
    QLabel* detail_;
    QFormLayout* averages_;
    QLabel* note_;
    Job* job_;
    RunState state_ = RunState::idle;
    std::string bsdName_;
    /// The folder was chosen by the user, not offered for the drive.
    bool chosen_ = false;
};

}  // namespace desktop
