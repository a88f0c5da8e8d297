#pragma once
// The tray icon's picture: a drive mark in a tier's colour, with the score on it when
// there is one. Drawn, not loaded, so that every colour and number is at hand without
// files, and at the sizes panels ask for.
#include <QColor>
#include <QIcon>
#include <QImage>

#include "desktop/tray/tray_model.hpp"
#include "reports/render/render.hpp"

namespace tray {

/// The colour of a tier, the same as the reports use.
using reports::render::tierColour;

QImage iconImage(const IconLook& look, int size);
/// The picture at the sizes panels use.
QIcon iconOf(const IconLook& look);

}  // namespace tray
