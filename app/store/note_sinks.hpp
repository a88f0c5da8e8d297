#pragma once
// Where notes are shown. On a desktop: the freedesktop notification service on the session
// bus, which keeps one bubble per note id (a new note of the same id replaces the old one).
// On a server, where no such service runs: one log line per note, and when the program
// runs under systemd, a journal entry with the note's priority.
#include <QDBusConnection>
#include <QString>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>

#include "app/store/alerts.hpp"

namespace app {

class DesktopNotifications {
  public:
    static constexpr const char* kService = "org.freedesktop.Notifications";
    static constexpr const char* kPath = "/org/freedesktop/Notifications";
    static constexpr const char* kInterface = "org.freedesktop.Notifications";

    explicit DesktopNotifications(QDBusConnection bus);

    /// A notification service owns its name on the bus, or the bus can start one.
    static bool available(const QDBusConnection& bus);

    /// Notify, replacing the bubble this program last showed for the same note id; waits
    /// 2 s at most. False when the service didn't take it.
    bool show(const Note& note);

  private:
    QDBusConnection bus_;
    /// The service's number of the last bubble per note id.
    std::map<std::string, std::uint32_t> shown_;
};

/// The line a note is logged as: "note: <title>: <body>".
std::string noteLine(const Note& note);

/// Whether standard error is the systemd journal's stream: systemd names it in
/// JOURNAL_STREAM as "<device>:<inode>", and a redirected stderr no longer matches.
bool stderrIsJournal();

/// Logs each note as one line on `out`, or, when `journal`, on `journalStream` with the
/// "<N>" priority prefix the journal reads (4 warning, 5 notice, 6 info).
NoteSink logNotes(std::ostream& out, bool journal, std::ostream& journalStream);

}  // namespace app
