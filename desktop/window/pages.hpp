#pragma once
// The drive pages: Overview (with its live speeds), Forecast, History, Health data, and
// About. Settings has a file of its own.
#include <QLabel>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <string>

#include "desktop/window/page_view.hpp"

class QAreaSeries;
class QChartView;
class QFormLayout;
class QLineSeries;
class QSlider;
class QTableWidget;

namespace desktop {

class OverviewPage final : public PageView {
  public:
    explicit OverviewPage(WindowContext& context, QWidget* parent = nullptr);
    void update(const app::DriveSummary* drive) override;

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void sample();
    QLabel* name_;
    QLabel* tier_;
    QLabel* score_;
    QLabel* line_;
    QFormLayout* facts_;
    QLabel* volumesTitle_;
    QFormLayout* volumes_;
    QWidget* speeds_;
    QLineSeries* read_;
    QLineSeries* write_;
    QChartView* speedChart_;
    QTimer ticker_;
    std::string bsdName_;
    bool live_ = false;
};

class SwapPage final : public PageView {
  public:
    explicit SwapPage(WindowContext& context, QWidget* parent = nullptr);
    void update(const app::DriveSummary* drive) override;

  private:
    QFormLayout* facts_;
    QChartView* chart_;
};

class WritesPage final : public PageView {
  public:
    explicit WritesPage(WindowContext& context, QWidget* parent = nullptr);
    void update(const app::DriveSummary* drive) override;
    QTabWidget* tabs() const { return tabs_; }

  private:
    QTabWidget* tabs_;
    QLabel* total_;
    QTableWidget* today_;
    QTableWidget* perDay_;
};

class ForecastPage final : public PageView {
  public:
    explicit ForecastPage(WindowContext& context, QWidget* parent = nullptr);
    void update(const app::DriveSummary* drive) override;
    QSlider* slider() const { return slider_; }

  private:
    void showWhatIf();
    /// The band where the drive reaches its rated endurance, from the last point, at the
    /// pace of `lowYears` to `highYears` left.
    void showBand(double lowYears, double highYears);
    QLabel* headline_;
    QLabel* confidence_;
    QLabel* content_;
    QChartView* chart_;
    QWidget* whatIf_;
    QLabel* whatIfLabel_;
    QLabel* whatIfHeadline_;
    QLabel* gain_;
    QLabel* sentence_;
    QSlider* slider_;
    std::optional<drivekit::LifeForecast> forecast_;
    QAreaSeries* band_ = nullptr;
    double firstTime_ = 0;
    double lastTime_ = 0;
    double lastUsed_ = 0;
};

class HistoryPage final : public PageView {
  public:
    explicit HistoryPage(WindowContext& context, QWidget* parent = nullptr);
    void update(const app::DriveSummary* drive) override;
    QTabWidget* tabs() const { return tabs_; }

  private:
    QTabWidget* tabs_;
    QVBoxLayout* charts_;
    QLabel* waiting_;
    QTableWidget* table_;
};

class HealthDataPage final : public PageView {
  public:
    explicit HealthDataPage(WindowContext& context, QWidget* parent = nullptr);
    void update(const app::DriveSummary* drive) override;
    QTabWidget* tabs() const { return tabs_; }
    /// The Tests tab's buttons: the window brings the scan or the benchmark forward.
    std::function<void()> scanRequested;
    std::function<void()> benchRequested;

  private:
    QTabWidget* tabs_;
    QTableWidget* summary_;
    QTableWidget* indicators_;
    QTableWidget* log_;
    QTableWidget* tests_;
    QFormLayout* diagnostics_;
};

class ReportPage final : public PageView {
  public:
    explicit ReportPage(WindowContext& context, QWidget* parent = nullptr);
    ~ReportPage() override;
    void update(const app::DriveSummary* drive) override;

  private:
    void save(const QString& format);
    /// Reads what the report of the shown drive would hold, off the GUI thread.
    void plan();
    QLabel* title_;
    QLabel* contents_;
    QLabel* status_;
    class Job* job_;
    std::string bsdName_;
    std::string name_;
};

class AboutPage final : public PageView {
  public:
    explicit AboutPage(WindowContext& context, QWidget* parent = nullptr);
    void update(const app::DriveSummary*) override {}
};

}  // namespace desktop
