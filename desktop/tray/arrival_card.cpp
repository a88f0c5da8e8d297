#include "desktop/tray/arrival_card.hpp"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include "desktop/tray/tray_panel.hpp"

namespace tray {

ArrivalCard::ArrivalCard(QWidget* parent)
    : QFrame(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint) {
    setObjectName("arrivalCard");
    setAccessibleName("Drive plugged in");
    setFrameShape(QFrame::StyledPanel);
    setAttribute(Qt::WA_ShowWithoutActivating);
    // A fixed width in font units: wrapped lines then know their height.
    setFixedWidth(fontMetrics().averageCharWidth() * 50);
    content_ = new QVBoxLayout(this);
}

void ArrivalCard::showCard(const Card& card) {
    // Later, not now: the press that led here may come from one of these widgets.
    const auto drop = [](QWidget* widget) {
        if (!widget) return;
        widget->hide();
        widget->deleteLater();
    };
    while (auto* item = content_->takeAt(0)) {
        drop(item->widget());
        if (auto* layout = item->layout()) {
            while (auto* inner = layout->takeAt(0)) {
                drop(inner->widget());
                delete inner;
            }
        }
        delete item;
    }
    auto* title = new QLabel(QString::fromStdString(card.title), this);
    title->setObjectName("cardTitle");
    title->setTextFormat(Qt::PlainText);
    title->setWordWrap(true);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    content_->addWidget(title);
    auto* body = new QLabel(QString::fromStdString(card.body), this);
    body->setObjectName("cardBody");
    body->setTextFormat(Qt::PlainText);
    body->setWordWrap(true);
    content_->addWidget(body);

    auto* buttons = new QHBoxLayout;
    auto* dismiss = new QPushButton(QString::fromStdString(card.dismiss), this);
    dismiss->setObjectName("dismissButton");
    dismiss->setAccessibleName(dismiss->text());
    connect(dismiss, &QPushButton::clicked, this, [this] {
        if (onDismiss) onDismiss();
    });
    buttons->addWidget(dismiss);
    buttons->addStretch();
    if (card.check.action == CheckAction::none) {
        // Nothing to check: the way to the drive's page.
        auto* open = new QPushButton("Open", this);
        open->setObjectName("openButton");
        open->setAccessibleName("Open this drive's page");
        connect(open, &QPushButton::clicked, this, [this] {
            if (onOpen) onOpen();
        });
        buttons->addWidget(open);
    }
    if (card.check.action != CheckAction::none || !card.check.status.empty()) {
        content_->addWidget(checkWidget(card.check, [this, action = card.check.action] {
            if (onAction) onAction(action);
        }, this));
    }
    content_->addLayout(buttons);
    fitHeight(*this);
    if (const QScreen* screen = QApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        const int margin = fontMetrics().height();
        move(area.right() - width() - margin, area.top() + margin);
    }
    show();
}

}  // namespace tray
