#pragma once
// How the window looks: the system's own palette ("System"), or one of the program's two
// appearances, a dark one ("Void") and a light one ("Lab"); and the colours of the tiers
// and indicator states, made to read on either.
#include <QColor>
#include <QPalette>

#include "app/store/state_files.hpp"
#include "drivekit/health/indicator_rules.hpp"
#include "drivekit/health/tier.hpp"

namespace desktop {

/// The palette of an appearance; `system` is the palette the platform gave.
QPalette paletteFor(app::Prefs::Appearance appearance, const QPalette& system);
/// Applies it to the application; `system` is the palette the platform gave at start.
void applyAppearance(app::Prefs::Appearance appearance, const QPalette& system);

/// Whether the palette is a dark one (its window darker than its text).
bool isDark(const QPalette& palette);
QColor tierColour(drivekit::Tier tier, const QPalette& palette);
QColor indicatorColour(drivekit::IndicatorStatus status, const QPalette& palette);

}  // namespace desktop
