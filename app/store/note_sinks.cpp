#include "app/store/note_sinks.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QStringList>
#include <QVariantMap>
#include <cstdio>
#include <cstdlib>

namespace app {

DesktopNotifications::DesktopNotifications(QDBusConnection bus) : bus_(std::move(bus)) {}

bool DesktopNotifications::available(const QDBusConnection& bus) {
    if (!bus.isConnected() || bus.interface() == nullptr) return false;
    if (bus.interface()->isServiceRegistered(kService)) return true;
    const QDBusReply<QStringList> activatable = bus.interface()->call("ListActivatableNames");
    return activatable.isValid() && activatable.value().contains(kService);
}

bool DesktopNotifications::show(const Note& note) {
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, "Notify");
    const auto previous = shown_.find(note.id);
    const std::uint32_t replaces = previous == shown_.end() ? 0 : previous->second;
    QVariantMap hints;
    // The notification service's urgency levels: 0 low, 1 normal, 2 critical. A worsening
    // drive is critical: it should stay until seen.
    hints["urgency"] = QVariant::fromValue<uchar>(note.urgency == Note::Urgency::warning ? 2 : 1);
    hints["desktop-entry"] = QString("vantrel");
    call << QString("Vantrel") << static_cast<uint>(replaces) << QString("drive-harddisk")
         << QString::fromStdString(note.title) << QString::fromStdString(note.body) << QStringList() << hints
         << static_cast<int>(-1);
    const QDBusReply<uint> reply = bus_.call(call, QDBus::Block, 2000);
    if (!reply.isValid()) return false;
    shown_[note.id] = reply.value();
    return true;
}

std::string noteLine(const Note& note) {
    std::string line = "note: " + note.title + ": " + note.body;
    // One note, one line, whatever a drive or volume name holds.
    for (auto& c : line) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    return line;
}

bool stderrIsJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    if (stream == nullptr) return false;
    unsigned long long device = 0, inode = 0;
    if (std::sscanf(stream, "%llu:%llu", &device, &inode) != 2) return false;
    struct stat status {};
    if (::fstat(STDERR_FILENO, &status) != 0) return false;
    return status.st_dev == device && status.st_ino == inode;
}

NoteSink logNotes(std::ostream& out, bool journal, std::ostream& journalStream) {
    return [&out, journal, &journalStream](const Note& note) {
        if (journal) {
            const int priority = note.urgency == Note::Urgency::warning  ? 4
                                 : note.urgency == Note::Urgency::notice ? 5
                                                                         : 6;
            journalStream << '<' << priority << '>' << noteLine(note) << std::endl;
        } else {
            out << noteLine(note) << std::endl;
        }
        return true;
    };
}

}  // namespace app
