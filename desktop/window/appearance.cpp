#include "desktop/window/appearance.hpp"

#include <QApplication>

namespace desktop {

namespace {

QPalette made(QColor window, QColor text, QColor base, QColor button, QColor accent) {
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, button);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, button);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, text.lighter(isDark(palette) ? 70 : 160));
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, QColor(Qt::white));
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::Mid, isDark(palette) ? window.lighter(170) : window.darker(130));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, text.darker(isDark(palette) ? 170 : 60));
    palette.setColor(QPalette::Disabled, QPalette::Text, text.darker(isDark(palette) ? 170 : 60));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, text.darker(isDark(palette) ? 170 : 60));
    return palette;
}

}  // namespace

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

QPalette paletteFor(app::Prefs::Appearance appearance, const QPalette& system) {
    switch (appearance) {
        case app::Prefs::Appearance::system: return system;
        case app::Prefs::Appearance::void_:
            return made(QColor(0x16, 0x18, 0x1d), QColor(0xe6, 0xe8, 0xec), QColor(0x1e, 0x21, 0x28),
                        QColor(0x2a, 0x2e, 0x37), QColor(0x4c, 0x8d, 0xf6));
        case app::Prefs::Appearance::lab:
            return made(QColor(0xf4, 0xf5, 0xf2), QColor(0x1c, 0x1f, 0x24), QColor(0xff, 0xff, 0xff),
                        QColor(0xe4, 0xe6, 0xe1), QColor(0x1d, 0x6f, 0x5f));
    }
    return system;
}

void applyAppearance(app::Prefs::Appearance appearance, const QPalette& system) {
    // "System" sets no colour of its own, so that the desktop's switch between light and
    // dark still reaches the window; a palette set whole would pin it.
    if (appearance == app::Prefs::Appearance::system) {
        QApplication::setPalette(QPalette());
        return;
    }
    QApplication::setPalette(paletteFor(appearance, system));
}

QColor tierColour(drivekit::Tier tier, const QPalette& palette) {
    const bool dark = isDark(palette);
    switch (tier) {
        case drivekit::Tier::healthy: return dark ? QColor(0x4c, 0xc3, 0x6f) : QColor(0x1a, 0x7f, 0x37);
        case drivekit::Tier::watch: return dark ? QColor(0xe0, 0xc1, 0x3b) : QColor(0x8a, 0x6d, 0x00);
        case drivekit::Tier::warning: return dark ? QColor(0xf0, 0x94, 0x3c) : QColor(0xb3, 0x54, 0x00);
        case drivekit::Tier::failing:
        case drivekit::Tier::failed: return dark ? QColor(0xf2, 0x5f, 0x5c) : QColor(0xc0, 0x1c, 0x28);
        case drivekit::Tier::limited: return dark ? QColor(0x9a, 0x9f, 0xa8) : QColor(0x80, 0x85, 0x8d);
    }
    return palette.color(QPalette::WindowText);
}

QColor indicatorColour(drivekit::IndicatorStatus status, const QPalette& palette) {
    switch (status) {
        case drivekit::IndicatorStatus::ok: return tierColour(drivekit::Tier::healthy, palette);
        case drivekit::IndicatorStatus::watch: return tierColour(drivekit::Tier::watch, palette);
        case drivekit::IndicatorStatus::warning: return tierColour(drivekit::Tier::warning, palette);
        case drivekit::IndicatorStatus::failing: return tierColour(drivekit::Tier::failing, palette);
        case drivekit::IndicatorStatus::info: break;
    }
    return palette.color(QPalette::WindowText);
}

}  // namespace desktop
