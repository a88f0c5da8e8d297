#pragma once
// The small pieces every page of the window is built from: text from our strings, a label
// that wraps and can be selected, and a form of facts.
#include <QLabel>
#include <QString>

#include <string>
#include <string_view>
#include <vector>

#include "desktop/model/drive_pages.hpp"

class QFormLayout;
class QWidget;

namespace desktop {

inline QString q(const std::string& text) { return QString::fromStdString(text); }
inline QString q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

/// A wrapping, selectable label; `points` scales the font (0: as it is).
QLabel* label(QWidget* parent, double points = 0, bool bold = false);

void clear(QFormLayout* form);
/// A row per fact, each value named for screen readers by its label.
void addFacts(QFormLayout* form, const std::vector<Fact>& facts);

}  // namespace desktop
