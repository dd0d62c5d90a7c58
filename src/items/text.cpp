// VXText: placing, drawing and hit-testing a piece of text.
#include "items/text.h"

#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <QFontMetrics>
#include <QHash>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QSet>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

#define FIELD(type, key, def, field, flags) {type, key, def, static_cast<int>(offsetof(VxText, field)), flags, nullptr}

HL_ConfigureSpec text_specs[] = {
    FIELD("color", "color_text", "black", foreground, 0),
    FIELD("color", "color_background", nullptr, background, 0),
    FIELD("color", "color_background_outline", nullptr, outline, 0),
    FIELD("font", "font", "Helvetica,16", font, 0),
    FIELD("double", "angle", "0.0", angle, 0),
    // two keys of one field
    FIELD("string", "justification", "sw", justification, 0),
    FIELD("string", "alignment", "sw", justification, 0),
    FIELD("ptr", "relative", nullptr, relative, 0),
    FIELD("int", "width", "0", width, 0),
    FIELD("int", "height", "0", height, 0),
    FIELD("boolean", "show_not_symbol", "no", show_not_symbol, 0),
    FIELD("string", "text", "", text, 0),
    FIELD("double", "opacity", "1.0", opacity, 0),
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef FIELD

// The texts alive now, for checking relative pointers.  GUI thread only.
QSet<const void*>& liveTexts()
{
    static QSet<const void*> texts;
    return texts;
}

char* copyText(char* old, const char* text)
{
    free(old);
    return strdup(text ? text : "");
}

} // namespace

VXText::VXText(VXViewport* master, const char* text, const char* xpos, const char* ypos)
    : VXViewportItem(master, nullptr, QStringLiteral("VXText"), 1)
{
    liveTexts().insert(this);
    init(text, xpos, ypos);
}

VXText::~VXText()
{
    liveTexts().remove(this);
    releaseConfigureStrings();
    free(vars.xpos);
    free(vars.ypos);
    delete vars.path;
}

bool VXText::isLive(const void* text)
{
    return text && liveTexts().contains(text);
}

void VXText::init(const char* text, const char* xpos, const char* ypos)
{
    setConfigureSpecs(text_specs, reinterpret_cast<char*>(&vars), "VXText", static_cast<VXConfigure*>(this), 1);
    vars.text = copyText(vars.text, text);
    vars.xpos = copyText(vars.xpos, xpos);
    vars.ypos = copyText(vars.ypos, ypos);
}

void VXText::setPosition(const char* xpos, const char* ypos)
{
    if (xpos)
        vars.xpos = copyText(vars.xpos, xpos);
    if (ypos)
        vars.ypos = copyText(vars.ypos, ypos);
}

void VXText::setRelative(VXText* relative)
{
    vars.relative = relative == this ? nullptr : relative;
}

void VXText::getBB(double* x, double* y, int* w, int* h)
{
    if (x)
        *x = vars.fxbb;
    if (y)
        *y = vars.fybb;
    if (w)
        *w = vars.wbb;
    if (h)
        *h = vars.hbb;
}

int VXText::getRelativeBox(double* x, double* y, double* w, double* h)
{
    if (vars.wbb <= 0 && vars.hbb <= 0)
        return -1;
    *x = vars.fxbb;
    *y = vars.fybb;
    *w = vars.wbb;
    *h = vars.hbb;
    return 0;
}

bool VXText::contains(QMouseEvent* event)
{
    return event && vars.path && vars.path->contains(event->position());
}

void VXText::setTextCallback(std::function<int(VXText*, int, QEvent*, void*)> callback, HL_ClientData client_data)
{
    VxTextCallback cb;
    cb.callback_proc = std::move(callback);
    cb.client_data = client_data;
    vars.textCallbacks.append(cb);
    vars.textCallbackClientData = client_data;
}

int VXText::processEvent(int type, QEvent* event)
{
    // a callback may add callbacks: walk a copy
    const QList<VxTextCallback> callbacks = vars.textCallbacks;
    for (const VxTextCallback& cb : callbacks)
        if (cb.callback_proc && cb.callback_proc(this, type, event, cb.client_data) == 2)
            return 2;
    return 1;
}

int VXText::drawViewportItem(QPainter* painter)
{
    return draw(painter);
}

int VXText::draw(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!painter || !vp || !vars.text || !*vars.text || vars.font.invalid)
        return 0;
    void* relative = isLive(vars.relative) ? vars.relative : nullptr;
    double x = 0.0, y = 0.0;
    if (vp->getPixels(vars.xpos ? vars.xpos : "", vars.ypos ? vars.ypos : "", &x, &y,
                      relative ? static_cast<VXViewportItem*>(static_cast<VXText*>(relative)) : nullptr)
        < 0) {
        // a bad expression leaves the text where it was
        hl_clear_register(0);
        return 0;
    }
    vars.x = x;
    vars.y = y;
    delete vars.path;
    vars.path = nullptr;

    painter->save();
    painter->setOpacity(vars.opacity < 0.0 ? 0.0 : (vars.opacity > 1.0 ? 1.0 : vars.opacity));
    painter->setRenderHint(QPainter::Antialiasing, antialias);
    painter->setRenderHint(QPainter::TextAntialiasing, antialias);
    double xbb = x, ybb = y;
    int wbb = vars.wbb, hbb = vars.hbb;
    vp->drawText(painter, &vars.font, x, y, vars.justification ? vars.justification : "sw", vars.angle, vars.text,
                 vars.show_not_symbol, vars.width, vars.height, &vars.foreground, &vars.background, &vars.outline,
                 &vars.path, &xbb, &ybb, &wbb, &hbb, 0);
    painter->restore();
    if (vars.angle != 0.0) {
        // turned text reports no box: take the unturned one at the position
        const QFontMetrics metrics(vars.font.font);
        wbb = vars.width > 0 ? vars.width : 10 + metrics.boundingRect(QString::fromUtf8(vars.text)).width();
        hbb = vars.height > 0 ? vars.height : 10 + metrics.ascent();
    }
    vars.fxbb = xbb;
    vars.fybb = ybb;
    vars.wbb = wbb;
    vars.hbb = hbb;
    return 1;
}

QPixmap VXText::specialSymbol(const QString& name, int size)
{
    static QHash<QString, VxTextSpecialSymbol> symbols;
    if (size < 4 || size > 256)
        return QPixmap();
    const QString key = name + QLatin1Char('/') + QString::number(size);
    auto it = symbols.constFind(key);
    if (it != symbols.constEnd())
        return it->pixmap;
    VxTextSpecialSymbol symbol;
    symbol.name = name;
    symbol.size = size;
    symbol.pixmap = makeSpecialSymbol(name, size);
    if (symbol.pixmap.isNull())
        return QPixmap();
    symbol.width = symbol.pixmap.width();
    symbol.height = symbol.pixmap.height();
    symbols.insert(key, symbol);
    return symbol.pixmap;
}

QPixmap VXText::makeSpecialSymbol(const QString& name, int size)
{
    if (name != QLatin1String("check") && name != QLatin1String("cross") && name != QLatin1String("dot"))
        return QPixmap();
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const double s = size;
    const double m = s * 0.15;
    if (name == QLatin1String("dot")) {
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::black);
        p.drawEllipse(QRectF(m, m, s - 2 * m, s - 2 * m));
    } else {
        p.setPen(QPen(name == QLatin1String("check") ? QColor(Qt::darkGreen) : QColor(Qt::red), std::max(1.0, s / 8)));
        if (name == QLatin1String("check")) {
            p.drawLine(QPointF(m, s * 0.55), QPointF(s * 0.4, s - m));
            p.drawLine(QPointF(s * 0.4, s - m), QPointF(s - m, m));
        } else {
            p.drawLine(QPointF(m, m), QPointF(s - m, s - m));
            p.drawLine(QPointF(s - m, m), QPointF(m, s - m));
        }
    }
    return pixmap;
}
