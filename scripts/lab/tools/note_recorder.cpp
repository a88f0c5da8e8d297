// A stand-in for the desktop's notification service, for the lab's guest, which has no
// desktop: it owns org.freedesktop.Notifications on the session bus, answers Notify with
// a number (the one it replaces, or a new one) and writes each call to stdout as one line:
//   NOTIFY id=N replaces=N title=<title> body=<body>
// It prints "ready" once it owns the name. Built by run-all.sh against the host's Qt, the
// libraries vantrel itself brings into the guest.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QStringList>
#include <cstdio>

namespace {

class Recorder final : public QDBusVirtualObject {
  public:
    QString introspect(const QString&) const override {
        return "<interface name=\"org.freedesktop.Notifications\">"
               "<method name=\"Notify\"><arg type=\"s\" direction=\"in\"/><arg type=\"u\" direction=\"in\"/>"
               "<arg type=\"s\" direction=\"in\"/><arg type=\"s\" direction=\"in\"/><arg type=\"s\" direction=\"in\"/>"
               "<arg type=\"as\" direction=\"in\"/><arg type=\"a{sv}\" direction=\"in\"/>"
               "<arg type=\"i\" direction=\"in\"/><arg type=\"u\" direction=\"out\"/></method>"
               "<method name=\"GetCapabilities\"><arg type=\"as\" direction=\"out\"/></method></interface>";
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const auto args = message.arguments();
        if (message.member() == "Notify" && args.size() == 8) {
            const uint replaces = args[1].toUInt();
            const uint id = replaces != 0 ? replaces : ++last_;
            std::printf("NOTIFY id=%u replaces=%u title=%s body=%s\n", id, replaces,
                        args[3].toString().toUtf8().constData(), args[4].toString().toUtf8().constData());
            std::fflush(stdout);
            return connection.send(message.createReply(QVariant::fromValue(id)));
        }
        if (message.member() == "GetCapabilities") {
            return connection.send(message.createReply(QStringList{"body"}));
        }
        return false;
    }

  private:
    uint last_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QDBusConnection bus = QDBusConnection::sessionBus();
    Recorder recorder;
    if (!bus.registerVirtualObject("/org/freedesktop/Notifications", &recorder) ||
        !bus.registerService("org.freedesktop.Notifications")) {
        std::fprintf(stderr, "note_recorder: %s\n", bus.lastError().message().toUtf8().constData());
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);
    return application.exec();
}
