#include "desktop/tray/tray_icon_image.hpp"

#include <QFont>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace tray {

QColor tierColour(drivekit::Tier tier) {
    using drivekit::Tier;
    switch (tier) {
        case Tier::healthy: return {0x2e, 0x9e, 0x4f};
        case Tier::watch: return {0xb5, 0x89, 0x00};
        case Tier::warning: return {0xe0, 0x7b, 0x00};
        case Tier::failing: return {0xd9, 0x30, 0x25};
        case Tier::failed: return {0xa5, 0x0e, 0x0e};
        case Tier::limited: return {0x8e, 0x8e, 0x93};
    }
    return {0x8e, 0x8e, 0x93};
}

QImage iconImage(const IconLook& look, int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal edge = size / 16.0;
    const QRectF body(edge, edge, size - 2 * edge, size - 2 * edge);
    QPainterPath path;
    path.addRoundedRect(body, size / 5.0, size / 5.0);
    painter.fillPath(path, tierColour(look.tier));
    painter.setPen(Qt::white);
    if (look.score) {
        QFont font;
        font.setBold(true);
        // Three digits must fit the mark: the size follows the number's width.
        font.setPixelSize(static_cast<int>(size * (*look.score >= 100 ? 0.42 : 0.55)));
        painter.setFont(font);
        painter.drawText(body, Qt::AlignCenter, QString::number(*look.score));
    } else {
        // The drive's slot, where the number would be.
        const qreal slot = size / 10.0;
        painter.fillRect(QRectF(size * 0.25, size / 2.0 - slot / 2, size * 0.5, slot), Qt::white);
    }
    return image;
}

QIcon iconOf(const IconLook& look) {
    QIcon icon;
    for (const int size : {22, 32, 64}) icon.addPixmap(QPixmap::fromImage(iconImage(look, size)));
    return icon;
}

}  // namespace tray
