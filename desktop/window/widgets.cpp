#include "desktop/window/widgets.hpp"

#include <QFont>
#include <QFormLayout>

namespace desktop {

QLabel* label(QWidget* parent, double points, bool bold) {
    auto* label = new QLabel(parent);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    if (points != 0 || bold) {
        QFont font = label->font();
        if (points != 0) font.setPointSizeF(font.pointSizeF() * points);
        font.setBold(bold);
        label->setFont(font);
    }
    return label;
}

void clear(QFormLayout* form) {
    while (form->rowCount() > 0) form->removeRow(0);
}

void addFacts(QFormLayout* form, const std::vector<Fact>& facts) {
    for (const auto& fact : facts) {
        auto* value = new QLabel(q(fact.value));
        value->setWordWrap(true);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setAccessibleName(q(fact.label));
        form->addRow(q(fact.label), value);
    }
}

}  // namespace desktop
