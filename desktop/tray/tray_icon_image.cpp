#include "desktop/tray/tray_icon_image.hpp"

#include <QFont>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace tray {

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
