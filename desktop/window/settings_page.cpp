#include "desktop/window/settings_page.hpp"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>
#include <cstdlib>
#include <map>

#include "app/store/state_files.hpp"
#include "desktop/model/autostart.hpp"
#include "desktop/model/page_wording.hpp"
#include "desktop/window/appearance.hpp"
#include "desktop/window/widgets.hpp"
#include "reports/share_item.hpp"

namespace desktop {

namespace {

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

QCheckBox* checkBox(QWidget* parent, std::string_view text) {
    auto* box = new QCheckBox(q(text), parent);
    box->setAccessibleName(q(text));
    return box;
}

QComboBox* combo(QWidget* parent, std::string_view name, std::initializer_list<std::pair<std::string_view, int>> items) {
    auto* box = new QComboBox(parent);
    for (const auto& [text, value] : items) box->addItem(q(text), value);
    box->setAccessibleName(q(name));
    return box;
}

void select(QComboBox* box, int value) {
    const int index = box->findData(value);
    if (index >= 0) box->setCurrentIndex(index);
}

}  // namespace

SettingsPage::SettingsPage(WindowContext& context, QPalette system, QWidget* parent)
    : PageView(context, parent), system_(std::move(system)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    tabs_ = new QTabWidget(this);
    tabs_->setAccessibleName(q(Wording::settings));
    tabs_->addTab(general(), q(Wording::tabGeneral));
    tabs_->addTab(checking(), q(Wording::tabChecking));
    tabs_->addTab(notifications(), q(Wording::tabNotifications));
    tabs_->addTab(drives(), q(Wording::tabDrives));
    tabs_->addTab(data(), q(Wording::tabData));
    layout->addWidget(tabs_);
    showPrefs();
}

void SettingsPage::change(const std::function<void(app::Prefs&)>& edit) {
    if (showing_) return;
    app::Prefs prefs = context_.store.prefs();
    edit(prefs);
    if (prefs == context_.store.prefs()) return;
    context_.store.setPrefs(prefs);
    app::StateFiles::writePrefs(context_.paths.prefs(), prefs);
    // Later: the window rebuilds this page's drive switches, one of which may be the sender.
    if (changed) QTimer::singleShot(0, this, [this] { changed(); });
}

QWidget* SettingsPage::general() {
    auto* page = new QWidget(tabs_);
    auto* form = new QFormLayout(page);
    appearance_ = combo(page, Wording::appearance,
                        {{Wording::appearanceSystem, static_cast<int>(app::Prefs::Appearance::system)},
                         {Wording::appearanceVoid, static_cast<int>(app::Prefs::Appearance::void_)},
                         {Wording::appearanceLab, static_cast<int>(app::Prefs::Appearance::lab)}});
    form->addRow(q(Wording::appearance), appearance_);
    QObject::connect(appearance_, &QComboBox::currentIndexChanged, this, [this] {
        const auto appearance = static_cast<app::Prefs::Appearance>(appearance_->currentData().toInt());
        change([&](app::Prefs& prefs) { prefs.appearance = appearance; });
        if (!showing_) applyAppearance(appearance, system_);
    });
    trayShows_ = combo(page, Wording::trayShows, {{Wording::trayMark, 0}, {Wording::trayMarkAndScore, 1}});
    form->addRow(q(Wording::trayShows), trayShows_);
    QObject::connect(trayShows_, &QComboBox::currentIndexChanged, this, [this] {
        const bool score = trayShows_->currentData().toInt() == 1;
        change([&](app::Prefs& prefs) { prefs.menuBarShowsScore = score; });
    });
    login_ = checkBox(page, Wording::openAtLogin);
    form->addRow(login_);
    QObject::connect(login_, &QCheckBox::toggled, this, [this](bool on) {
        if (showing_) return;
        Autostart::set(platform::systemFiles(), Autostart::entryPath(environment), on);
    });
    return page;
}

QWidget* SettingsPage::checking() {
    auto* page = new QWidget(tabs_);
    auto* form = new QFormLayout(page);
    checkEvery_ = combo(page, Wording::checkEvery,
                        {{Wording::every5, 5}, {Wording::every10, 10}, {Wording::every30, 30}, {Wording::everyHour, 60}});
    form->addRow(q(Wording::checkEvery), checkEvery_);
    QObject::connect(checkEvery_, &QComboBox::currentIndexChanged, this, [this] {
        const int minutes = checkEvery_->currentData().toInt();
        change([&](app::Prefs& prefs) { prefs.checkMinutes = minutes; });
    });
    plugCard_ = checkBox(page, Wording::plugCard);
    form->addRow(plugCard_);
    QObject::connect(plugCard_, &QCheckBox::toggled, this,
                     [this](bool on) { change([&](app::Prefs& prefs) { prefs.showPlugCard = on; }); });
    autoCheck_ = checkBox(page, Wording::autoCheck);
    form->addRow(autoCheck_);
    QObject::connect(autoCheck_, &QCheckBox::toggled, this,
                     [this](bool on) { change([&](app::Prefs& prefs) { prefs.autoCheckUSB = on; }); });
    handedOver_ = new QLabel(page);
    forget_ = new QPushButton(q(Wording::forgetAll), page);
    forget_->setAccessibleName(q(Wording::forgetAll));
    auto* row = new QHBoxLayout();
    row->addWidget(handedOver_);
    row->addStretch();
    row->addWidget(forget_);
    form->addRow(row);
    QObject::connect(forget_, &QPushButton::clicked, this, [this] {
        change([](app::Prefs& prefs) { prefs.approvedUSB.clear(); });
        showPrefs();
    });
    return page;
}

QWidget* SettingsPage::notifications() {
    auto* page = new QWidget(tabs_);
    auto* form = new QFormLayout(page);
    const auto add = [&](QCheckBox*& box, std::string_view text, bool app::Prefs::*field) {
        box = checkBox(page, text);
        QObject::connect(box, &QCheckBox::toggled, this,
                         [this, field](bool on) { change([&](app::Prefs& prefs) { prefs.*field = on; }); });
    };
    add(worse_, Wording::notifyWorse, &app::Prefs::notifyWorse);
    add(checked_, Wording::notifyChecked, &app::Prefs::notifyChecked);
    add(ejected_, Wording::notifyEjected, &app::Prefs::notifyEjected);
    add(lowSpace_, Wording::notifyLowSpace, &app::Prefs::notifyLowSpace);
    add(hot_, Wording::notifyHot, &app::Prefs::notifyHot);
    lowSpacePercent_ = new QSpinBox(page);
    lowSpacePercent_->setRange(1, 50);
    lowSpacePercent_->setSuffix(QStringLiteral("%"));
    lowSpacePercent_->setAccessibleName(q(Wording::notifyLowSpace));
    QObject::connect(lowSpacePercent_, &QSpinBox::valueChanged, this,
                     [this](int value) { change([&](app::Prefs& prefs) { prefs.lowSpacePercent = value; }); });
    form->addRow(worse_);
    form->addRow(checked_);
    form->addRow(ejected_);
    auto* lowRow = new QHBoxLayout();
    lowRow->addWidget(lowSpace_);
    lowRow->addWidget(lowSpacePercent_);
    lowRow->addStretch();
    form->addRow(lowRow);
    form->addRow(hot_);
    return page;
}

QWidget* SettingsPage::drives() {
    auto* page = new QWidget(tabs_);
    driveList_ = new QVBoxLayout(page);
    driveList_->addStretch();
    return page;
}

QWidget* SettingsPage::data() {
    auto* page = new QWidget(tabs_);
    auto* form = new QFormLayout(page);
    keepDays_ = combo(page, Wording::keepReadings, {{Wording::days30, 30}, {Wording::days90, 90}, {Wording::days400, 400}});
    form->addRow(q(Wording::keepReadings), keepDays_);
    QObject::connect(keepDays_, &QComboBox::currentIndexChanged, this, [this] {
        const int days = keepDays_->currentData().toInt();
        change([&](app::Prefs& prefs) { prefs.keepDays = days; });
    });
    readingsKept_ = new QLabel(page);
    readingsKept_->setWordWrap(true);
    form->addRow(readingsKept_);
    auto* save = new QPushButton(q(Wording::saveCSV), page);
    save->setAccessibleName(q(Wording::saveCSV));
    form->addRow(save);
    QObject::connect(save, &QPushButton::clicked, this, [this] {
        const QString file = QFileDialog::getSaveFileName(this, q(Wording::saveCSV), QStringLiteral("readings.csv"),
                                                          QStringLiteral("CSV (*.csv)"));
        if (file.isEmpty()) return;
        std::map<std::string, std::string> names;
        for (const auto& drive : context_.store.allDrives()) names[drive.id] = drive.name;
        platform::systemFiles().replace(file.toStdString(), reports::ReadingsCSV::text(context_.store.readings(), names));
    });
    deleteReadings_ = new QPushButton(q(Wording::deleteReadings), page);
    deleteReadings_->setAccessibleName(q(Wording::deleteReadings));
    form->addRow(deleteReadings_);
    // Deleting asks for a second click; the button says so after the first.
    QObject::connect(deleteReadings_, &QPushButton::clicked, this, [this] {
        if (!deleteArmed_) {
            deleteArmed_ = true;
            deleteReadings_->setText(q(Wording::deleteAgain));
            return;
        }
        deleteArmed_ = false;
        deleteReadings_->setText(q(Wording::deleteReadings));
        context_.store.deleteReadings();
        showPrefs();
        if (changed) QTimer::singleShot(0, this, [this] { changed(); });
    });
    return page;
}

void SettingsPage::update(const app::DriveSummary*) {
    showPrefs();
    // The external drives, each with its switch; rebuilt since drives come and go.
    while (driveList_->count() > 1) {
        auto* item = driveList_->takeAt(0);
        delete item->widget();
        delete item;
    }
    int at = 0;
    const auto& hidden = context_.store.prefs().hiddenDrives;
    for (const auto& drive : context_.store.allDrives()) {
        if (drive.kind == drivekit::DriveKind::internalSSD || drive.hostsBootVolume) continue;
        if (drive.kind == drivekit::DriveKind::other) continue;  // a disk inside the computer
        auto* box = checkBox(driveList_->parentWidget(), Wording::fill(Wording::hide, {drive.name}));
        box->setChecked(app::isHidden(drive, hidden));
        // The most lasting key: a drive hidden today stays hidden when it comes back.
        const std::string key = drive.stableKey();
        QObject::connect(box, &QCheckBox::toggled, this, [this, key, drive](bool on) {
            change([&](app::Prefs& prefs) {
                auto& list = prefs.hiddenDrives;
                if (on) {
                    list.push_back(key);
                } else {
                    std::erase_if(list, [&](const std::string& k) {
                        return k == key || k == drive.id || (drive.usbKey && k == *drive.usbKey);
                    });
                }
            });
        });
        driveList_->insertWidget(at++, box);
    }
    if (at == 0) {
        auto* none = new QLabel(q(Wording::noExternal), driveList_->parentWidget());
        driveList_->insertWidget(0, none);
    }
}

void SettingsPage::showPrefs() {
    showing_ = true;
    const app::Prefs& prefs = context_.store.prefs();
    select(appearance_, static_cast<int>(prefs.appearance));
    select(trayShows_, prefs.menuBarShowsScore ? 1 : 0);
    login_->setChecked(Autostart::enabled(platform::systemFiles(), Autostart::entryPath(environment)));
    select(checkEvery_, prefs.checkMinutes);
    plugCard_->setChecked(prefs.showPlugCard);
    autoCheck_->setChecked(prefs.autoCheckUSB);
    handedOver_->setText(q(Wording::fill(Wording::handedOver, {}, static_cast<long long>(prefs.approvedUSB.size()),
                                         context_.locale)));
    forget_->setEnabled(!prefs.approvedUSB.empty());
    worse_->setChecked(prefs.notifyWorse);
    checked_->setChecked(prefs.notifyChecked);
    ejected_->setChecked(prefs.notifyEjected);
    lowSpace_->setChecked(prefs.notifyLowSpace);
    lowSpacePercent_->setValue(prefs.lowSpacePercent);
    hot_->setChecked(prefs.notifyHot);
    select(keepDays_, prefs.keepDays);
    readingsKept_->setText(q(Wording::fill(Wording::readingsKept, {},
                                           static_cast<long long>(context_.store.readings().size()), context_.locale)));
    showing_ = false;
}

}  // namespace desktop
