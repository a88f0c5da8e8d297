#include "desktop/tray/tray_panel.hpp"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include "desktop/tray/tray_icon_image.hpp"

namespace tray {

namespace {

QLabel* label(const std::string& text, QWidget* parent, const char* name, bool wraps = false) {
    auto* made = new QLabel(QString::fromStdString(text), parent);
    made->setObjectName(name);
    made->setWordWrap(wraps);
    made->setTextFormat(Qt::PlainText);
    made->setAccessibleName(made->text());
    return made;
}

QLabel* secondary(const std::string& text, QWidget* parent, const char* name) {
    auto* made = label(text, parent, name, true);
    made->setForegroundRole(QPalette::PlaceholderText);
    return made;
}

// A dot in the tier's colour, as tall as a line of text.
QLabel* dot(drivekit::Tier tier, QWidget* parent) {
    const int size = parent->fontMetrics().height() * 2 / 3;
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(tierColour(tier));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(0, 0, size, size);
    auto* made = new QLabel(parent);
    made->setPixmap(pixmap);
    made->setObjectName("tierDot");
    return made;
}

QPushButton* button(const std::string& text, QWidget* parent, const char* name) {
    auto* made = new QPushButton(QString::fromStdString(text), parent);
    made->setObjectName(name);
    made->setAccessibleName(made->text());
    return made;
}

}  // namespace

QWidget* checkWidget(const CheckView& check, const std::function<void()>& press, QWidget* parent) {
    auto* box = new QWidget(parent);
    box->setObjectName("check");
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    if (!check.status.empty()) layout->addWidget(label(check.status, box, "checkStatus", true));
    if (!check.advice.empty()) layout->addWidget(secondary(check.advice, box, "checkAdvice"));
    if (!check.code.empty()) layout->addWidget(secondary(check.code, box, "checkCode"));
    if (check.action != CheckAction::none) {
        auto* pressed = button(check.button, box, "checkButton");
        QObject::connect(pressed, &QPushButton::clicked, box, [press] { press(); });
        auto* line = new QHBoxLayout;
        line->addStretch();
        line->addWidget(pressed);
        layout->addLayout(line);
    }
    return box;
}

TrayPanel::TrayPanel(QWidget* parent) : QFrame(parent, Qt::Popup) {
    setObjectName("trayPanel");
    setAccessibleName("Vantrel");
    setFrameShape(QFrame::StyledPanel);
    // A fixed width in font units: wrapped lines then know their height.
    setFixedWidth(fontMetrics().averageCharWidth() * 60);
    auto* layout = new QVBoxLayout(this);
    auto* title = label("Vantrel", this, "panelTitle");
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    layout->addWidget(title);
    rows_ = new QVBoxLayout;
    rows_->setSpacing(fontMetrics().height() * 2 / 3);
    layout->addLayout(rows_);
    lastRefresh_ = secondary("", this, "lastRefresh");
    layout->addWidget(lastRefresh_);
    auto* footer = new QHBoxLayout;
    auto* open = button("Open Vantrel", this, "openButton");
    auto* quit = button("Quit", this, "quitButton");
    connect(open, &QPushButton::clicked, this, [this] {
        hide();
        if (onOpen) onOpen(std::nullopt);
    });
    connect(quit, &QPushButton::clicked, this, [this] {
        hide();
        if (onQuit) onQuit();
    });
    footer->addWidget(open);
    footer->addStretch();
    footer->addWidget(quit);
    layout->addLayout(footer);
}

void TrayPanel::showModel(const tray::Panel& panel) {
    // Later, not now: the press that led here may come from one of these widgets.
    while (auto* item = rows_->takeAt(0)) {
        if (auto* widget = item->widget()) {
            widget->hide();
            widget->deleteLater();
        }
        delete item;
    }
    if (!panel.empty.empty()) rows_->addWidget(secondary(panel.empty, this, "emptyText"));
    for (const auto& row : panel.rows) {
        auto* box = new QFrame(this);
        box->setObjectName("driveRow");
        box->setAccessibleName(QString::fromStdString(row.name));
        auto* layout = new QVBoxLayout(box);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(fontMetrics().height() / 6);
        auto* head = new QHBoxLayout;
        head->addWidget(dot(row.tier, box));
        auto* name = button(row.name, box, "driveName");
        name->setFlat(true);
        // A flat button centres its text; a name lines up with the others.
        name->setStyleSheet("text-align: left; padding: 0;");
        name->setToolTip("Open this drive's page");
        connect(name, &QPushButton::clicked, this, [this, id = row.id] {
            hide();
            if (onOpen) onOpen(id);
        });
        head->addWidget(name);
        head->addStretch();
        const std::string tier = row.score ? row.tierLabel + " · " + std::to_string(*row.score) : row.tierLabel;
        head->addWidget(label(tier, box, "tierText"));
        layout->addLayout(head);
        if (!row.line.empty()) layout->addWidget(secondary(row.line, box, "driveLine"));
        if (row.check.action != CheckAction::none || !row.check.status.empty()) {
            layout->addWidget(checkWidget(
                row.check,
                [this, action = row.check.action, id = row.id, key = row.usbKey] {
                    if (onAction) onAction(action, id, key);
                },
                box));
        }
        rows_->addWidget(box);
    }
    lastRefresh_->setText(QString::fromStdString(panel.lastRefresh));
    fitHeight(*this);
}

void fitHeight(QWidget& widget) {
    QLayout* layout = widget.layout();
    // Every wrapped line spans the widget's inside (rows and checks have no margins of their
    // own), so each knows its height before the layout asks.
    const QMargins margins = layout->contentsMargins() + widget.contentsMargins();
    const int inside = widget.width() - margins.left() - margins.right();
    for (auto* label : widget.findChildren<QLabel*>()) {
        if (label->wordWrap()) label->setMinimumHeight(label->heightForWidth(inside));
    }
    layout->activate();
    widget.setFixedHeight(std::max(layout->totalSizeHint().height(), layout->totalMinimumSize().height()));
}

void TrayPanel::popUpAt(const QPoint& anchor) {
    const QScreen* screen = QApplication::screenAt(anchor);
    if (!screen) screen = QApplication::primaryScreen();
    QPoint at = anchor - QPoint(width() / 2, 0);
    if (screen) {
        const QRect area = screen->availableGeometry();
        // A panel at the bottom of the screen opens upwards.
        if (at.y() + height() > area.bottom()) at.setY(anchor.y() - height());
        at.setX(std::clamp(at.x(), area.left(), std::max(area.left(), area.right() - width())));
        at.setY(std::clamp(at.y(), area.top(), std::max(area.top(), area.bottom() - height())));
    }
    move(at);
    show();
    raise();
}

}  // namespace tray
