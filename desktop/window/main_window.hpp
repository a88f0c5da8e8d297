#pragma once
// The main window: a sidebar with the drives and the pages in their groups, the page of
// the selected drive beside it. It reads the store after each pass and changes nothing
// but the selection and, on the Settings page, the preferences.
#include <QMainWindow>
#include <QPalette>
#include <map>
#include <vector>

#include "desktop/model/drive_pages.hpp"
#include "desktop/window/page_view.hpp"

class QLabel;
class QListWidget;
class QStackedWidget;
class QToolButton;

namespace desktop {

class MainWindow final : public QMainWindow {
    Q_OBJECT

  public:
    struct Options {
        /// This computer's drives can't be read: no root and no service to ask. The window
        /// says so, and what to do.
        bool serviceMissing = false;
        /// The platform's palette at start, for the "System" appearance.
        QPalette system;
        /// The system's figures are read (not on the demo machine): the Swap page and the
        /// footer show.
        bool systemFigures = false;
        /// Writes to the system drive are counted: the Writes page shows.
        bool writesCounted = false;
    };

    MainWindow(WindowContext& context, Options options, QWidget* parent = nullptr);

    /// Shows a page; the drive pages show the selected drive.
    void showPage(Page page);
    Page page() const { return page_; }
    PageView* pageView(Page page) const;
    QListWidget* driveList() const { return drives_; }
    QListWidget* pageList() const { return pages_; }
    /// The sidebar's context menu of a drive row, as it would open.
    void fillContextMenu(class QMenu& menu, int row);

    /// Brings the scan or the benchmark of the drive in `row` forward (the selection moves
    /// to it); nothing starts until the user presses Start.
    void openRun(Page page, int row);

  protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void refresh();
    void showDrives();
    const app::DriveSummary* selected() const;

    WindowContext& context_;
    Options options_;
    QListWidget* drives_;
    QListWidget* pages_;
    QToolButton* settings_;
    QToolButton* about_;
    QLabel* notice_;
    QLabel* footer_;
    QStackedWidget* stack_;
    std::map<Page, PageView*> views_;
    std::vector<SidebarDrive> rows_;
    Page page_ = Page::overview;
    bool filling_ = false;
};

}  // namespace desktop
