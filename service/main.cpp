// vantrel-service: the privileged service that reads drive health for users who aren't
// root. Started on demand by the system bus; leaves after a minute without a call.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QTimer>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "app/linux/linux_machine.hpp"
#include "app/service/protocol.hpp"
#include "platform/linux/linux_file_store.hpp"
#include "service/authority.hpp"
#include "service/service.hpp"

namespace {

struct Options {
    std::string bus;
    int idleSeconds = 60;
};

bool parse(int argc, char** argv, Options& options) {
    if (const char* bus = std::getenv("VANTREL_SERVICE_BUS")) options.bus = bus;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg.starts_with("--bus=")) {
            options.bus = std::string(arg.substr(6));
        } else if (arg == "--bus" && i + 1 < argc) {
            options.bus = argv[++i];
        } else if (arg == "--idle-seconds" && i + 1 < argc) {
            const std::string value = argv[++i];
            if (value.empty() || value.find_first_not_of("0123456789") != std::string::npos || value.size() > 6) {
                return false;
            }
            options.idleSeconds = std::stoi(value);
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::cerr << "usage: vantrel-service [--bus=ADDRESS] [--idle-seconds N]\n";
        return 2;
    }
    QCoreApplication application(argc, argv);
    QDBusConnection bus = options.bus.empty()
                              ? QDBusConnection::systemBus()
                              : QDBusConnection::connectToBus(QString::fromStdString(options.bus),
                                                              QStringLiteral("vantrel-service"));
    if (!bus.isConnected()) {
        std::cerr << "vantrel-service: can't reach the bus: " << bus.lastError().message().toStdString() << "\n";
        return 1;
    }
    app::LinuxMachine computer;
    platform::LinuxFileStore files;
    service::Approvals approvals(files, "/var/lib/vantrel/usb-approvals.json");
    service::PolkitAuthority authority(QDBusConnection::systemBus());
    QTimer idle;
    idle.setSingleShot(true);
    idle.setInterval(options.idleSeconds * 1000);
    service::Service object(bus, {computer.machine(), authority, service::machineUSBCheck(computer.machine()),
                                  approvals, [&idle] { idle.start(); }, service::machineUSBScan(computer.machine())});
    QObject::connect(&idle, &QTimer::timeout, &application, [&] {
        // A long check keeps the service alive; the idle time counts from its end.
        if (object.running() > 0) {
            idle.start();
        } else {
            QCoreApplication::quit();
        }
    });
    const auto name = QString::fromUtf8(app::ServiceProtocol::busName.data(),
                                        static_cast<qsizetype>(app::ServiceProtocol::busName.size()));
    if (!object.publish() || !bus.registerService(name)) {
        std::cerr << "vantrel-service: can't take " << name.toStdString() << " on the bus: "
                  << bus.lastError().message().toStdString() << "\n";
        return 1;
    }
    idle.start();
    return QCoreApplication::exec();
}
