#pragma once
// Requests from other processes (panel widgets, status bars, a second launch, a
// "vantrel://" link opened from the desktop) reach the running instance as calls on the
// session bus: Refresh() and Open(url), under the name "com.orlend.vantrel".
#include <QObject>
#include <QString>
#include <string>

#include "app/store/single_instance.hpp"
#include "app/store/timers.hpp"

namespace app {

class DriveStore;

class AppRequests final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.orlend.vantrel.App")

  public:
    static constexpr const char* kService = "com.orlend.vantrel";
    static constexpr const char* kPath = "/com/orlend/vantrel";
    static constexpr const char* kInterface = "com.orlend.vantrel.App";

    AppRequests(DriveStore& store, Timers& timers, QObject* parent = nullptr);

    /// Takes the name on the session bus; false with the reason when there is no bus or
    /// the name is taken.
    bool publish(std::string& error);

    /// Hands `url` to the running instance, waiting 2 s at most; false with the reason
    /// when it didn't answer.
    static bool handOver(const std::string& url, std::string& error);

  public Q_SLOTS:
    /// A refresh, unless one was asked for in the last 5 s.
    Q_SCRIPTABLE void Refresh();
    /// Hands the link to the inbox, where it waits until a front end takes links.
    Q_SCRIPTABLE void Open(const QString& url);

    /// Where links wait for a front end: the desktop window sets its handler when it
    /// appears; a headless front end hands them to `selectLinkedDrive`.
    LinkInbox& links() { return links_; }

    /// What a link does without an interface: selects the drive it names, if present.
    static void selectLinkedDrive(DriveStore& store, const std::string& url);

  private:
    DriveStore& store_;
    Timers& timers_;
    RequestGate gate_;
    LinkInbox links_;
};

}  // namespace app
