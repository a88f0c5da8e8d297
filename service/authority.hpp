#pragma once
// Who may do what: the service asks an authority before it touches a drive. On a real
// system that is polkit, asked over the system bus; tests hand in a stand-in that allows
// or refuses.
#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <functional>
#include <string_view>

namespace service {

class Authority {
  public:
    virtual ~Authority() = default;
    /// Asks whether the caller (a unique bus name, ":1.42") may do `action`. `done` is
    /// called once, later, on the thread that asked; the user may first be asked for a
    /// password.
    virtual void check(const QString& caller, std::string_view action, std::function<void(bool allowed)> done) = 0;

  protected:
    Authority() = default;
};

/// polkit's CheckAuthorization on the system bus, the caller named as a system-bus-name
/// subject, with user interaction allowed. No answer, or an error, is a refusal.
class PolkitAuthority final : public Authority {
  public:
    explicit PolkitAuthority(QDBusConnection systemBus);
    void check(const QString& caller, std::string_view action, std::function<void(bool allowed)> done) override;

  private:
    QDBusConnection bus_;
    QObject context_;
};

}  // namespace service
