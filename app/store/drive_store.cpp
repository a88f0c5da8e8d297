#include "app/store/drive_store.hpp"

#include <QMetaObject>
#include <QPointer>
#include <QThreadPool>
#include <algorithm>
#include <thread>

#include "app/store/history.hpp"
#include "drivekit/core/text.hpp"

namespace app {

namespace json = drivekit::json;

Background qtBackground(QObject* context) {
    return [context = QPointer<QObject>(context)](std::function<std::vector<DriveSummary>()> read,
                                                  std::function<void(std::vector<DriveSummary>)> back) {
        QThreadPool::globalInstance()->start([context, read = std::move(read), back = std::move(back)] {
            auto drives = std::make_shared<std::vector<DriveSummary>>(read());
            if (context.isNull()) return;
            QMetaObject::invokeMethod(
                context.data(), [back, drives] { back(std::move(*drives)); }, Qt::QueuedConnection);
        });
    };
}

Work qtWork(QObject* context) {
    return [context = QPointer<QObject>(context)](std::function<void()> work, std::function<void()> then) {
        QThreadPool::globalInstance()->start([context, work = std::move(work), then = std::move(then)] {
            work();
            if (context.isNull()) return;
            QMetaObject::invokeMethod(context.data(), then, Qt::QueuedConnection);
        });
    };
}

std::function<void(std::function<void()>, std::function<void()>)> qtRunCheck(QObject* context) {
    return [context = QPointer<QObject>(context)](std::function<void()> work, std::function<void()> done) {
        // A check holds its thread for minutes: not one of the pool's, which the passes share.
        std::thread([context, work = std::move(work), done = std::move(done)] {
            work();
            if (context.isNull()) return;
            QMetaObject::invokeMethod(context.data(), done, Qt::QueuedConnection);
        }).detach();
    };
}

void SpeedHistory::push(Speed speed) noexcept {
    samples_[start_] = speed;
    start_ = (start_ + 1) % kLength;
}

DriveStore::DriveStore(Services services, Prefs prefs, QObject* parent)
    : QObject(parent), services_(std::move(services)), timers_(*services_.timers), prefs_(std::move(prefs)),
      launchedAt_(timers_.now()) {
    if (services_.notes) {
        notifier_.emplace(services_.paths.alerts(), services_.notes, [this] { return timers_.now(); });
    }
}

DriveStore::~DriveStore() {
    *alive_ = false;
    // A check still running gives its drive back and ends; its end is no longer shown.
    for (auto& [key, check] : usbChecks_) check.stop->store(true);
    for (const auto handle : {pending_, poller_, systemTicker_, sampler_}) timers_.cancel(handle);
}

void DriveStore::log(const std::string& line) const {
    if (services_.log) services_.log(line);
}

void DriveStore::start() {
    if (!services_.paths.data.empty()) StateFiles::removeLeftovers(services_.paths.data);
    syncWidgetSettings();
    refresh();
    armPoller();
    updateSystem();
    systemTicker_ = timers_.every(kSystemPeriod, [this] { updateSystem(); });
}

void DriveStore::armPoller() {
    // Read anew before each wait: a change of the preference applies from the next wait.
    const auto minutes = std::max(1, prefs_.checkMinutes);
    poller_ = timers_.after(std::chrono::minutes(minutes), [this] {
        poller_ = 0;
        refresh([this, alive = std::weak_ptr<bool>(alive_)] {
            if (!alive.expired() && poller_ == 0) armPoller();
        });
    });
}

void DriveStore::setPrefs(Prefs prefs) {
    prefs_ = std::move(prefs);
    rememberVisible();
    syncWidgetSettings();
    // Hidden drives leave every view, and the tray's number follows its setting, at once.
    Q_EMIT drivesChanged();
}

void DriveStore::syncWidgetSettings() {
    // Panel widgets colour a volume by this one preference; the file is rewritten only when
    // it is missing, damaged or says something else, so an idle store writes nothing.
    const auto path = services_.paths.widgetSettings();
    if (path.empty()) return;
    if (StateFiles::readWidgetLowSpacePercent(path) == prefs_.lowSpacePercent) return;
    if (!StateFiles::writeWidgetLowSpacePercent(path, prefs_.lowSpacePercent)) {
        log("store: couldn't write " + path.string());
    }
}

void DriveStore::scheduleRefresh() {
    timers_.cancel(pending_);
    const auto generation = ++pendingGeneration_;
    pending_ = timers_.after(kDebounce, [this, generation] {
        pending_ = 0;
        refresh([this, generation, alive = std::weak_ptr<bool>(alive_)] {
            // A newer burst took over while this pass read: its own settling pass follows.
            if (alive.expired() || generation != pendingGeneration_) return;
            pending_ = timers_.after(kSettle, [this, generation] {
                pending_ = 0;
                if (generation == pendingGeneration_) refresh();
            });
        });
    });
}

void DriveStore::refresh(std::function<void()> done) {
    const auto started = timers_.now();
    const auto steadyStarted = timers_.steadyNow();
    const auto ticket = ++refreshOrder_.issued;
    PassRequest request{usbReports_, true};
    auto read = [source = services_.read, request = std::move(request)] { return source(request); };
    services_.background(std::move(read), [this, alive = std::weak_ptr<bool>(alive_), ticket, started, steadyStarted,
                                           done = std::move(done)](std::vector<DriveSummary> drives) {
        if (alive.expired()) return;
        apply(ticket, started, steadyStarted, std::move(drives));
        if (done) done();
    });
}

void DriveStore::apply(std::uint64_t ticket, json::SystemTime started,
                       std::chrono::steady_clock::time_point steadyStarted, std::vector<DriveSummary> drives) {
    const double elapsed = std::chrono::duration<double>(timers_.steadyNow() - steadyStarted).count();
    const bool shown = refreshOrder_.applied < ticket;
    if (shown) refreshOrder_.applied = ticket;
    if (elapsed > kSlowPassSeconds) {
        log(drivekit::text::format("refresh %llu took %.1f s; %s", static_cast<unsigned long long>(ticket), elapsed,
                                   shown ? "shown" : "dropped, a later one was shown"));
    }
    if (!shown) {
        if (onPass) onPass(PassReport{ticket, elapsed, false, allDrives_, std::move(drives)});
        return;
    }
    const auto now = timers_.now();

    if (readings_.empty()) readings_ = StateFiles::readReadings(services_.paths.readings());
    enrich(drives, readings_, now, services_.locale);
    logMountChanges(drives);

    RefreshPlan::Inputs inputs;
    inputs.previous = allDrives_;
    inputs.drives = drives;
    inputs.selectedID = selectedID_;
    inputs.selectionKey = selectionKey_;
    inputs.knownUSB = previousUSBKeys_;
    inputs.reading = usbReads_;
    inputs.recentReads = recentUSBReads_;
    inputs.arrival = arrival_;
    inputs.isFirstRead = !lastRefresh_.has_value();
    for (const auto& [key, report] : usbReports_) inputs.reports.insert(key);
    inputs.scans = usbScans_;
    inputs.readStarted = started;
    inputs.now = now;
    inputs.checksOnArrival = [this, now](const DriveSummary& drive) {
        return drive.offersUSBCheck(services_.usbCheckAvailable) && prefs_.autoCheckUSB && drive.usbSignature &&
               prefs_.approvedUSB.contains(*drive.usbSignature) &&
               std::chrono::duration<double>(now - launchedAt_).count() > 120.0 &&
               drive.tier == drivekit::Tier::limited;
    };
    const RefreshPlan plan = RefreshPlan::make(inputs);

    selectionKey_ = plan.selectionKey;
    selectedID_ = plan.selectedID;
    std::vector<DriveSummary> previous = std::move(allDrives_);
    allDrives_ = std::move(drives);
    rememberVisible();
    // An ejected drive keeps its line until it leaves the list; no state outlives its drive.
    if (auto kept = Eject::surviving(ejectStates_, allDrives_); kept != ejectStates_) ejectStates_ = std::move(kept);
    previousUSBKeys_ = std::set<std::string>(plan.knownUSB.begin(), plan.knownUSB.end());
    if (plan.arriving) arrival_ = plan.arriving->card;
    if (plan.closesArrival) arrival_.reset();
    recentUSBReads_ = plan.recentReads;
    for (const auto& key : plan.droppedReports) usbReports_.erase(key);
    for (const auto& key : plan.droppedScans) usbScans_.erase(key);

    lastRefresh_ = now;
    updateSystem();
    auto updated = Readings::updated(readings_, allDrives_, prefs_.keepDays, system_, now);
    if (updated != readings_) {
        readings_ = std::move(updated);
        if (!StateFiles::writeReadings(services_.paths.readings(), readings_)) {
            log("couldn't write " + services_.paths.readings().string() + "; the next pass tries again");
        }
    }
    publishShared();
    speakUp(plan);

    // A selection that left the list stays while its drive is under a USB read: it comes
    // back in a moment and must come back selected.
    const auto visible = visibleDrives();
    const bool selectionVisible = selectedID_ && std::any_of(visible.begin(), visible.end(), [&](const DriveSummary& d) {
                                      return d.id == *selectedID_;
                                  });
    const bool underRead = selectionKey_ && selectionKey_->usb && usbReads_.contains(*selectionKey_->usb);
    if (!selectionVisible && !underRead) {
        selectedID_ = visible.empty() ? std::nullopt : std::optional<std::string>(visible.front().id);
    }

    Q_EMIT drivesChanged();
    if (onPass) onPass(PassReport{ticket, elapsed, true, std::move(previous), allDrives_});
}

bool DriveStore::notify(const Note& note) { return notifier_ && notifier_->post(note); }

void DriveStore::speakUp(const RefreshPlan& plan) {
    if (!notifier_) return;
    const auto alerts = AlertPlan::make(allDrives_, notifier_->lastTiers(), prefs_.lowSpacePercent);
    // The tiers first: a note that fails to go out mustn't make the next pass alert again.
    notifier_->setLastTiers(alerts.lastTiers);
    for (const auto& note : Notes::of(alerts, prefs_.notifyWorse, prefs_.notifyHot, prefs_.notifyLowSpace, services_.locale)) {
        notifier_->post(note);
    }
    if (plan.arriving && !plan.arriving->card.autoRead && prefs_.notifyChecked) {
        notifier_->post(Notes::checked(plan.arriving->drive, services_.usbCheckAvailable, services_.locale));
    }
}

void DriveStore::logMountChanges(const std::vector<DriveSummary>& drives) const {
    const auto state = [](const DriveSummary& d) {
        if (d.notMounted()) return "not mounted";
        return d.mountPoint ? "mounted" : "no volumes";
    };
    for (const auto& drive : drives) {
        if (drive.kind == drivekit::DriveKind::internalSSD) continue;
        const auto old = std::find_if(allDrives_.begin(), allDrives_.end(),
                                      [&](const DriveSummary& d) { return d.id == drive.id; });
        if (old == allDrives_.end() || old->notMounted() == drive.notMounted()) continue;
        log(drive.name + ": " + state(*old) + " \u2192 " + state(drive));
    }
}

void DriveStore::updateSystem() {
    if (services_.system) system_ = services_.system();
}

std::vector<DriveSummary> DriveStore::visibleDrives() const {
    std::vector<DriveSummary> out;
    for (const auto& drive : allDrives_) {
        if (!isHidden(drive, prefs_.hiddenDrives)) out.push_back(drive);
    }
    return out;
}

void DriveStore::rememberVisible() {
    visibleNames_.clear();
    for (const auto& drive : allDrives_) {
        if (!isHidden(drive, prefs_.hiddenDrives)) visibleNames_.push_back(drive.bsdName);
    }
}

void DriveStore::select(std::optional<std::string> id) {
    selectedID_ = std::move(id);
    selectionKey_.reset();
    for (const auto& drive : allDrives_) {
        if (selectedID_ && drive.id == *selectedID_) selectionKey_ = RefreshPlan::SelectionKey{drive.usbKey, drive.bsdName};
    }
}

void DriveStore::publishShared() {
    const auto now = timers_.now();
    const auto visible = visibleDrives();
    StateFiles::writeSharedState(services_.paths.sharedState(), visible, now);
    KnownDrives known = StateFiles::readKnownDrives(services_.paths.knownDrives());
    known.merge(visible, now);
    StateFiles::writeKnownDrives(services_.paths.knownDrives(), known);
    const auto keys = hiddenKeys(prefs_.hiddenDrives, allDrives_);
    if (StateFiles::readHiddenDrives(services_.paths.hiddenDrives()) != keys) {
        StateFiles::writeHiddenDrives(services_.paths.hiddenDrives(), keys);
    }
}

void DriveStore::withdrawShared() {
    std::error_code ignored;
    std::filesystem::remove(services_.paths.sharedState(), ignored);
}

void DriveStore::beginLive() {
    ++liveViewers_;
    if (sampler_ == 0) {
        sampler_ = timers_.every(kSamplePeriod, [this] {
            if (!services_.windowVisible || services_.windowVisible()) sampleSpeeds();
        });
    }
}

void DriveStore::endLive() {
    if (liveViewers_ == 0) return;
    if (--liveViewers_ > 0) return;
    timers_.cancel(sampler_);
    sampler_ = 0;
    // A later viewer's first tick only stores counters: no sample across the stale gap.
    lastStats_.clear();
}

void DriveStore::sampleSpeeds() {
    if (++sampleCount_ % 5 == 0) updateSystem();
    if (!services_.ioStats) return;
    const auto now = timers_.steadyNow();
    for (const auto& name : visibleNames_) {
        const auto stats = services_.ioStats(name);
        if (!stats) continue;
        auto last = lastStats_.find(name);
        if (last != lastStats_.end()) {
            const double seconds = std::chrono::duration<double>(now - last->second.at).count();
            if (seconds > 0) {
                const auto delta = [&](std::uint64_t to, std::uint64_t from) {
                    return to >= from ? static_cast<double>(to - from) / seconds : 0.0;
                };
                const Speed speed{delta(stats->readBytes, last->second.stats.readBytes),
                                  delta(stats->writtenBytes, last->second.stats.writtenBytes)};
                auto at = speeds_.find(name);
                if (at == speeds_.end()) at = speeds_.emplace(name, Speed{}).first;
                at->second = speed;
                auto ring = history_.find(name);
                if (ring == history_.end()) ring = history_.emplace(name, SpeedHistory{}).first;
                ring->second.push(speed);
                auto peak = peaks_.find(name);
                if (peak == peaks_.end()) peak = peaks_.emplace(name, Speed{}).first;
                peak->second = Speed{std::max(peak->second.read, speed.read), std::max(peak->second.write, speed.write)};
            }
            last->second = Counters{*stats, now};
        } else {
            lastStats_.emplace(name, Counters{*stats, now});
        }
    }
}

void DriveStore::setUSBCheck(const std::string& usbKey, bool underWay) {
    if (underWay) {
        usbReads_.insert(usbKey);
    } else {
        usbReads_.erase(usbKey);
    }
}

void DriveStore::eject(const std::string& id) {
    const auto drive = std::find_if(allDrives_.begin(), allDrives_.end(), [&](const DriveSummary& d) { return d.id == id; });
    if (drive == allDrives_.end()) return;
    const EjectJob job = Eject::job(*drive, allDrives_);
    if (const auto refused = Eject::refusal(job, usbReads_)) {
        ejectStates_[id] = EjectState{EjectState::Kind::refused, refused->reason};
        log(refused->log);
        Q_EMIT drivesChanged();
        return;
    }
    if (!services_.eject || !services_.work) return;
    for (const auto& member : job.members) ejectStates_[member.id] = EjectState{EjectState::Kind::ejecting};
    Q_EMIT drivesChanged();
    auto outcome = std::make_shared<EjectOutcome>();
    services_.work([eject = services_.eject, job, outcome] { *outcome = eject(job); },
                   [this, alive = std::weak_ptr<bool>(alive_), job, outcome] {
                       if (alive.expired()) return;
                       if (const auto line = Eject::logLine(*outcome); !line.empty()) log(line);
                       const bool ejected = outcome->kind == EjectOutcome::Kind::ejected;
                       const EjectState state = ejected ? EjectState{EjectState::Kind::ejected}
                                                        : EjectState{EjectState::Kind::refused, Eject::reason(*outcome)};
                       for (const auto& member : job.members) ejectStates_[member.id] = state;
                       Q_EMIT drivesChanged();
                       if (!ejected) return;
                       if (onEjected) onEjected(job);
                       refresh();
                   });
}

void DriveStore::remount(const std::string& id) {
    const auto drive = std::find_if(allDrives_.begin(), allDrives_.end(), [&](const DriveSummary& d) { return d.id == id; });
    if (drive == allDrives_.end() || !services_.mountAgain || !services_.work) return;
    ejectStates_[id] = EjectState{EjectState::Kind::mounting};
    Q_EMIT drivesChanged();
    auto mounted = std::make_shared<bool>(false);
    services_.work([mount = services_.mountAgain, name = drive->bsdName, mounted] { *mounted = mount(name); },
                   [this, alive = std::weak_ptr<bool>(alive_), id, mounted] {
                       if (alive.expired()) return;
                       if (*mounted) {
                           ejectStates_.erase(id);
                           scheduleRefresh();
                       } else {
                           ejectStates_[id] = EjectState{EjectState::Kind::mountFailed};
                       }
                       Q_EMIT drivesChanged();
                   });
}

std::optional<Speed> DriveStore::speed(const std::string& bsdName) const {
    const auto it = speeds_.find(bsdName);
    return it == speeds_.end() ? std::nullopt : std::optional<Speed>(it->second);
}

bool DriveStore::deleteReadings() {
    readings_.clear();
    // An empty file, not none: a pass reads the file again when it holds no readings.
    return StateFiles::writeReadings(services_.paths.readings(), readings_);
}

const SpeedHistory* DriveStore::history(const std::string& bsdName) const {
    const auto it = history_.find(bsdName);
    return it == history_.end() ? nullptr : &it->second;
}

bool DriveStore::startUSBRead(const DriveSummary& drive, bool automatic) {
    if (drive.usbNVMeBridge.value_or(false) || drive.isRAIDMember || drive.raid || !drive.usbKey) return false;
    const std::string key = *drive.usbKey;
    if (usbReads_.contains(key) || !services_.usbCheck || !services_.runCheck) return false;
    if (services_.driveFound && !services_.driveFound(drive.bsdName)) return false;

    failedUSBReads_.erase(key);
    cancelledUSBReads_.erase(key);
    lastUSBChecked_[key] = drive;
    usbReads_.insert(key);
    USBCheck& check = usbChecks_[key] = USBCheck{drive, automatic, std::make_shared<std::atomic<bool>>(false),
                                                 std::make_shared<std::atomic<USBRead::Step>>(USBRead::Step::unmounting)};
    auto outcome = std::make_shared<drivekit::Result<SummaryBuilder::Reading, Failure>>(
        drivekit::Unexpected(Failure{Failure::Kind::interrupted, drive.bsdName}));
    services_.runCheck(
        [run = services_.usbCheck, name = drive.bsdName, stop = check.stop, step = check.step, outcome] {
            *outcome = run(
                name, [stop] { return stop->load(); },
                [step](const std::string& line) {
                    if (const auto next = USBRead::stepAfter(line)) step->store(*next);
                });
        },
        [this, key, outcome, alive = std::weak_ptr<bool>(alive_)] {
            if (alive.expired()) return;
            endUSBRead(key, std::move(*outcome));
        });
    Q_EMIT drivesChanged();
    return true;
}

void DriveStore::endUSBRead(const std::string& key, drivekit::Result<SummaryBuilder::Reading, Failure> outcome) {
    const auto found = usbChecks_.find(key);
    if (found == usbChecks_.end()) return;
    const USBCheck check = std::move(found->second);
    usbChecks_.erase(found);
    usbReads_.erase(key);
    recentUSBReads_[key] = timers_.now();
    const auto approvedBefore = prefs_.approvedUSB;
    if (outcome) {
        usbReports_[key] = std::move(outcome).value();
        if (check.drive.usbSignature) prefs_.approvedUSB.insert(*check.drive.usbSignature);
    } else if (!check.stop->load()) {
        const Failure& why = outcome.error();
        // A check the arrival started that wasn't allowed the drive forgets the approval.
        if (check.automatic && why.kind == Failure::Kind::notAuthorized && check.drive.usbSignature) {
            prefs_.approvedUSB.erase(*check.drive.usbSignature);
        }
        failedUSBReads_[key] = USBRead::problemOf(why, check.step->load(), check.drive.name, check.automatic);
        log("USB check of " + check.drive.bsdName + " failed: " + failedUSBReads_[key].title);
    }
    rememberApprovals(approvedBefore);
    refresh();
}

void DriveStore::rememberApprovals(const std::set<std::string>& before) {
    if (prefs_.approvedUSB == before || !services_.persistsApprovals) return;
    const auto path = services_.paths.prefs();
    if (path.empty()) return;
    // The file holds every preference: the others as this store knows them, which are the
    // user's own, since only the store changes them while it runs.
    if (!StateFiles::writePrefs(path, prefs_)) log("store: couldn't write " + path.string());
}

void DriveStore::cancelUSBRead(const std::string& usbKey) {
    const auto found = usbChecks_.find(usbKey);
    if (found == usbChecks_.end()) return;
    found->second.stop->store(true);
    cancelledUSBReads_[usbKey] = found->second.step->load();
}

bool DriveStore::retryUSBRead(const std::string& usbKey) {
    if (!failedUSBReads_.contains(usbKey)) return false;
    // The drive as the list shows it now, else as it was when its check began.
    for (const auto& drive : allDrives_) {
        if (drive.usbKey == usbKey) return startUSBRead(drive, false);
    }
    const auto last = lastUSBChecked_.find(usbKey);
    return last != lastUSBChecked_.end() && startUSBRead(last->second, false);
}

std::optional<USBRead::State> DriveStore::usbReadState(const std::string& usbKey) const {
    if (const auto running = usbChecks_.find(usbKey); running != usbChecks_.end()) {
        return USBRead::State{running->second.step->load(), std::nullopt};
    }
    if (const auto failed = failedUSBReads_.find(usbKey); failed != failedUSBReads_.end()) {
        return USBRead::State{std::nullopt, failed->second};
    }
    return std::nullopt;
}

std::optional<USBRead::Step> DriveStore::cancelledUSBRead(const std::string& usbKey) const {
    const auto found = cancelledUSBReads_.find(usbKey);
    if (found == cancelledUSBReads_.end()) return std::nullopt;
    return found->second;
}

}  // namespace app
