#include "service/authority.hpp"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QMap>

namespace service {

namespace {

constexpr std::uint32_t allowUserInteraction = 1;
// The password dialog waits for the user; a minute and a half is what polkit's own
// agents give them.
constexpr int answerTimeoutMs = 90'000;

QDBusArgument subjectOf(const QString& caller) {
    QDBusArgument subject;
    subject.beginStructure();
    subject << QStringLiteral("system-bus-name");
    subject.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QDBusVariant>());
    subject.beginMapEntry();
    subject << QStringLiteral("name") << QDBusVariant(caller);
    subject.endMapEntry();
    subject.endMap();
    subject.endStructure();
    return subject;
}

QDBusArgument noDetails() {
    QDBusArgument details;
    details.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QString>());
    details.endMap();
    return details;
}

bool authorized(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1) return false;
    if (reply.signature() != QLatin1String("(bba{ss})")) return false;
    const auto result = reply.arguments().front().value<QDBusArgument>();
    bool isAuthorized = false;
    bool isChallenge = false;
    QMap<QString, QString> details;
    result.beginStructure();
    result >> isAuthorized >> isChallenge >> details;
    result.endStructure();
    return isAuthorized;
}

}  // namespace

PolkitAuthority::PolkitAuthority(QDBusConnection systemBus) : bus_(std::move(systemBus)) {}

void PolkitAuthority::check(const QString& caller, std::string_view action, std::function<void(bool allowed)> done) {
    // No system bus, no polkit: nobody may.
    if (!bus_.isConnected()) {
        done(false);
        return;
    }
    auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.PolicyKit1"), QStringLiteral("/org/freedesktop/PolicyKit1/Authority"),
        QStringLiteral("org.freedesktop.PolicyKit1.Authority"), QStringLiteral("CheckAuthorization"));
    message << QVariant::fromValue(subjectOf(caller))
            << QString::fromUtf8(action.data(), static_cast<qsizetype>(action.size()))
            << QVariant::fromValue(noDetails()) << allowUserInteraction << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message, answerTimeoutMs), &context_);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &context_,
                     [watcher, done = std::move(done)] {
                         watcher->deleteLater();
                         done(authorized(watcher->reply()));
                     });
}

}  // namespace service
