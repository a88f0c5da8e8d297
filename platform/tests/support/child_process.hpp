#pragma once
// A helper program a test starts (a private dbus-daemon, Xvfb, a stand-in service): its
// first line of output says it is ready, and it is killed with the test, or with the test
// run when that dies, so no bus or service is left behind.
#include <signal.h>
#include <sys/prctl.h>

#include <QProcess>

#include <memory>
#include <optional>
#include <string>

namespace platform::helpers {

struct Child {
    std::unique_ptr<QProcess> process;

    static Child start(const QString& program, const QStringList& arguments, const QStringList& environment = {}) {
        Child child{std::make_unique<QProcess>()};
        auto env = QProcessEnvironment::systemEnvironment();
        for (const auto& pair : environment) env.insert(pair.section('=', 0, 0), pair.section('=', 1));
        child.process->setProcessEnvironment(env);
        child.process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
        child.process->start(program, arguments);
        return child;
    }
    /// The next line it prints, or nothing within ten seconds.
    std::optional<std::string> line() const {
        while (!process->canReadLine()) {
            if (!process->waitForReadyRead(10'000)) return std::nullopt;
        }
        return process->readLine().trimmed().toStdString();
    }
    void stop() {
        if (!process) return;
        process->kill();
        process->waitForFinished();
        process.reset();
    }
    Child() = default;
    explicit Child(std::unique_ptr<QProcess> started) : process(std::move(started)) {}
    Child(Child&&) = default;
    Child& operator=(Child&& other) {
        stop();
        process = std::move(other.process);
        return *this;
    }
    ~Child() { stop(); }
};

}  // namespace platform::helpers
