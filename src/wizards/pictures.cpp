#include "wizards/pictures.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace wizards {

namespace {

// Pictures are drawn at twice their size and shown at half, so they stay crisp
// on high-density screens as well.
constexpr qreal kScale = 2.0;

QPixmap Canvas(int width, int height) {
    QPixmap pixmap(static_cast<int>(width * kScale), static_cast<int>(height * kScale));
    pixmap.fill(Qt::transparent);
    pixmap.setDevicePixelRatio(kScale);
    return pixmap;
}

void DrawDrum(QPainter& p, const QRectF& box, const QColor& body) {
    const qreal capH = box.height() * 0.28;
    const QRectF top(box.left(), box.top(), box.width(), capH);
    const QRectF bottom(box.left(), box.bottom() - capH, box.width(), capH);
    QPainterPath side;
    side.moveTo(box.left(), top.center().y());
    side.lineTo(box.left(), bottom.center().y());
    side.arcTo(bottom, 180, 180);
    side.lineTo(box.right(), top.center().y());
    side.arcTo(top, 0, -180);
    QLinearGradient shade(box.topLeft(), box.topRight());
    shade.setColorAt(0, body.lighter(125));
    shade.setColorAt(0.5, body);
    shade.setColorAt(1, body.darker(140));
    p.setPen(QPen(body.darker(170), box.width() / 32.0));
    p.setBrush(shade);
    p.drawPath(side);
    // Two rings mark the drum's platters.
    p.setBrush(Qt::NoBrush);
    for (qreal f : {0.38, 0.66}) {
        const qreal y = box.top() + (box.height() - capH) * f;
        p.drawArc(QRectF(box.left(), y, box.width(), capH), 180 * 16, 180 * 16);
    }
    p.setBrush(body.lighter(150));
    p.drawEllipse(top);
}

QPixmap DrawFace(const QString& style) {
    constexpr int kSize = 16;
    QPixmap pixmap = Canvas(kSize, kSize);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    if (style == "NEXT" || style == "PREVIOUS") {
        QPainterPath arrow;
        arrow.moveTo(2, 6);
        arrow.lineTo(8, 6);
        arrow.lineTo(8, 2.5);
        arrow.lineTo(14, 8);
        arrow.lineTo(8, 13.5);
        arrow.lineTo(8, 10);
        arrow.lineTo(2, 10);
        arrow.closeSubpath();
        if (style == "PREVIOUS") {
            p.translate(kSize, 0);
            p.scale(-1, 1);
        }
        p.setPen(QPen(QColor(0x1d, 0x4e, 0x89), 1));
        p.setBrush(QColor(0x3a, 0x7b, 0xd5));
        p.drawPath(arrow);
    } else if (style == "START") {
        p.setPen(QPen(QColor(0x1e, 0x6b, 0x2f), 1));
        p.setBrush(QColor(0x3c, 0xa8, 0x55));
        p.drawEllipse(QRectF(1, 1, 14, 14));
        QPainterPath play;
        play.moveTo(6, 4.5);
        play.lineTo(11.5, 8);
        play.lineTo(6, 11.5);
        play.closeSubpath();
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::white);
        p.drawPath(play);
    } else if (style == "FINISH") {
        QPainterPath flag;
        p.setPen(QPen(QColor(0x55, 0x55, 0x55), 1.4));
        p.drawLine(QPointF(3.5, 1.5), QPointF(3.5, 15));
        p.setPen(QPen(QColor(0x22, 0x22, 0x22), 0.8));
        // A chequered flag: the usual mark of the end of a run.
        for (int row = 0; row < 3; ++row) {
            for (int col = 0; col < 4; ++col) {
                p.setBrush((row + col) % 2 ? Qt::white : QColor(0x22, 0x22, 0x22));
                p.drawRect(QRectF(4 + col * 2.6, 2 + row * 2.6, 2.6, 2.6));
            }
        }
    } else {
        return {};
    }
    return pixmap;
}

} // namespace

QIcon FacePicture(const QString& style) {
    const QPixmap pixmap = DrawFace(style);
    if (pixmap.isNull()) {
        return {};
    }
    return QIcon(pixmap);
}

QPixmap DatabasePicture(int size) {
    QPixmap pixmap = Canvas(size, size);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    DrawDrum(p, QRectF(size * 0.15, size * 0.06, size * 0.7, size * 0.88),
             QColor(0xd9, 0x8a, 0x1c));
    return pixmap;
}

QPixmap SuccessPicture(int size) {
    QPixmap pixmap = Canvas(size, size);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(0x1e, 0x6b, 0x2f), size / 16.0));
    p.setBrush(QColor(0x3c, 0xa8, 0x55));
    p.drawEllipse(QRectF(size * 0.05, size * 0.05, size * 0.9, size * 0.9));
    QPainterPath tick;
    tick.moveTo(size * 0.27, size * 0.52);
    tick.lineTo(size * 0.43, size * 0.68);
    tick.lineTo(size * 0.74, size * 0.34);
    p.setPen(QPen(Qt::white, size / 9.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    p.drawPath(tick);
    return pixmap;
}

QPixmap FolderPicture(int size, bool open) {
    QPixmap pixmap = Canvas(size, size);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal s = size / 16.0;
    const QColor edge(0xa0, 0x75, 0x1a);
    p.setPen(QPen(edge, s * 0.8));
    p.setBrush(QColor(0xe8, 0xb8, 0x4a));
    QPainterPath back;
    back.moveTo(1 * s, 3 * s);
    back.lineTo(6 * s, 3 * s);
    back.lineTo(7.5 * s, 4.5 * s);
    back.lineTo(15 * s, 4.5 * s);
    back.lineTo(15 * s, 13.5 * s);
    back.lineTo(1 * s, 13.5 * s);
    back.closeSubpath();
    p.drawPath(back);
    p.setBrush(QColor(0xf6, 0xd3, 0x7a));
    if (open) {
        QPainterPath front;
        front.moveTo(3 * s, 7 * s);
        front.lineTo(16 * s, 7 * s);
        front.lineTo(14 * s, 13.5 * s);
        front.lineTo(1 * s, 13.5 * s);
        front.closeSubpath();
        p.drawPath(front);
    } else {
        p.drawRect(QRectF(1 * s, 6 * s, 14 * s, 7.5 * s));
    }
    return pixmap;
}

QPixmap BannerPicture(int width, int height) {
    QPixmap pixmap = Canvas(width, height);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, height);
    sky.setColorAt(0, QColor(0x1f, 0x3c, 0x68));
    sky.setColorAt(1, QColor(0x2f, 0x7a, 0x8c));
    p.fillRect(QRectF(0, 0, width, height), sky);

    // A row of rental buildings along the bottom: what the suite's data is about.
    const qreal ground = height * 0.86;
    p.setPen(Qt::NoPen);
    const QColor house(0xff, 0xff, 0xff, 46);
    const qreal w = width / 4.0;
    const qreal heights[] = {0.26, 0.38, 0.2, 0.32};
    for (int i = 0; i < 4; ++i) {
        const qreal top = ground - height * heights[i];
        p.setBrush(house);
        p.drawRect(QRectF(i * w + 3, top, w - 6, ground - top));
        p.setBrush(QColor(0xff, 0xe6, 0x9a, 90));
        for (qreal y = top + 8; y + 8 < ground; y += 14) {
            p.drawRect(QRectF(i * w + 8, y, 5, 6));
            p.drawRect(QRectF(i * w + w - 14, y, 5, 6));
        }
    }
    p.fillRect(QRectF(0, ground, width, height - ground), QColor(0x18, 0x30, 0x50));

    const qreal drum = width * 0.62;
    DrawDrum(p, QRectF((width - drum) / 2, height * 0.12, drum, drum * 1.2),
             QColor(0xd9, 0x8a, 0x1c));
    return pixmap;
}

} // namespace wizards
