#include "app/store/app_requests.hpp"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>

#include "app/store/drive_store.hpp"

namespace app {

AppRequests::AppRequests(DriveStore& store, Timers& timers, QObject* parent)
    : QObject(parent), store_(store), timers_(timers) {}

bool AppRequests::publish(std::string& error) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        error = "no session bus: " + bus.lastError().message().toStdString();
        return false;
    }
    if (!bus.registerObject(kPath, this, QDBusConnection::ExportScriptableSlots)) {
        error = "couldn't export the requests object";
        return false;
    }
    if (!bus.registerService(kService)) {
        error = "the name " + std::string(kService) + " is taken: " + bus.lastError().message().toStdString();
        return false;
    }
    return true;
}

bool AppRequests::handOver(const std::string& url, std::string& error) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        error = "no session bus";
        return false;
    }
    QDBusInterface instance(kService, kPath, kInterface, bus);
    instance.setTimeout(2000);
    const QDBusMessage answer = instance.call("Open", QString::fromStdString(url));
    if (answer.type() == QDBusMessage::ErrorMessage) {
        error = answer.errorMessage().toStdString();
        return false;
    }
    return true;
}

void AppRequests::Refresh() {
    if (gate_.admits(timers_.now())) store_.refresh();
}

void AppRequests::Open(const QString& url) {
    links_.deliver(url.toStdString());
}

void AppRequests::selectLinkedDrive(DriveStore& store, const std::string& url) {
    const auto key = driveInLink(url);
    if (!key || key->empty()) return;
    for (const auto& drive : store.allDrives()) {
        if (drive.stableKey() == *key || drive.id == *key) {
            store.select(drive.id);
            return;
        }
    }
}

}  // namespace app
