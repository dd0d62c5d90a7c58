// VXTextPopup: the transient text box.
#include "items/textpopup.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "viewport/pixelexpr.h"

#include <QFontMetrics>
#include <QPainter>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Longest timeout taken, in seconds: a day.
constexpr double max_timeout = 86400.0;

enum { opt_background, opt_timeout, opt_position };

VXTextPopup* popupOf(void* object_ptr)
{
    return static_cast<VXTextPopup*>(static_cast<VXConfigure*>(object_ptr));
}

int parseOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                void* object_ptr)
{
    VxTextPopup* vars = reinterpret_cast<VxTextPopup*>(paramRec);
    const char* text = value ? value : "";
    switch (offset) {
    case opt_background: {
        if (!*text || !strcmp(text, "default")) {
            if (!vars->background.color_name.isEmpty())
                spec->specFlags |= HL_SPEC_CHANGED;
            VX_ClearColor(vars->background);
            return 0;
        }
        VX_Color colour;
        if (VX_ParseColor(QString::fromUtf8(text), colour) < 0)
            return -1;
        vars->background = colour;
        spec->specFlags |= HL_SPEC_CHANGED;
        return 0;
    }
    case opt_timeout: {
        char* end = nullptr;
        const double t = fixed_strtod(text, &end);
        if (end == text || *end != '\0' || !std::isfinite(t) || t > max_timeout) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTextPopup::setTimeout: bad timeout '%s'.\n", text);
            return -1;
        }
        popupOf(object_ptr)->setTimeout(t);
        spec->specFlags |= HL_SPEC_CHANGED;
        return 0;
    }
    case opt_position: {
        int x = 0, y = 0, used = 0;
        if (sscanf(text, "%d%*[ ,]%d%n", &x, &y, &used) != 2 || text[used] != '\0') {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTextPopup::setPosition: bad position '%s'.\n", text);
            return -1;
        }
        vars->position = QPoint(x, y);
        spec->specFlags |= HL_SPEC_CHANGED;
        return 0;
    }
    default:
        return -1;
    }
}

char* printOption(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxTextPopup* vars = reinterpret_cast<const VxTextPopup*>(paramRec);
    char buf[64];
    switch (offset) {
    case opt_background:
        return strdup(vars->background.color_name.isEmpty() ? "default"
                                                            : vars->background.color_name.toUtf8().constData());
    case opt_timeout:
        snprintf(buf, sizeof buf, "%.17g", vars->timeout);
        return strdup(buf);
    case opt_position:
        snprintf(buf, sizeof buf, "%d %d", vars->position.x(), vars->position.y());
        return strdup(buf);
    default:
        return strdup("Illegal offset value");
    }
}

HL_CustomOption opt_popup = {parseOption, printOption, nullptr};

HL_ConfigureSpec popup_specs[] = {
    {"custom", "color_background", "default", opt_background, 0, &opt_popup},
    {"double", "opacity", "1.0", static_cast<int>(offsetof(VxTextPopup, opacity)), 0, nullptr},
    {"custom", "timeout", "0.0", opt_timeout, 0, &opt_popup},
    {"string", "text", "", static_cast<int>(offsetof(VxTextPopup, text)), 0, nullptr},
    {"custom", "position", nullptr, opt_position, 0, &opt_popup},
    {"string", "justification", "c", static_cast<int>(offsetof(VxTextPopup, justification)), 0, nullptr},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

} // namespace

VXTextPopup::VXTextPopup(QWidget* parent) : QWidget(parent, Qt::ToolTip | Qt::FramelessWindowHint)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide_timer.setSingleShot(true);
    connect(&hide_timer, &QTimer::timeout, this, &QWidget::hide);
    setConfigureSpecs(popup_specs, reinterpret_cast<char*>(&vars), "VXTextPopup", static_cast<VXConfigure*>(this),
                      1);
    VX_ParseColor(QStringLiteral("black"), vars.foreground);
    vars.font.font = font();
    vars.font.invalid = 0;
}

VXTextPopup::~VXTextPopup()
{
    releaseConfigureStrings();
}

void VXTextPopup::setText(const QString& text)
{
    free(vars.text);
    vars.text = strdup(text.toUtf8().constData());
}

void VXTextPopup::setPosition(QPoint position)
{
    vars.position = position;
}

void VXTextPopup::setJustification(const QString& justification)
{
    free(vars.justification);
    vars.justification = strdup(justification.toUtf8().constData());
}

void VXTextPopup::setTimeout(double seconds)
{
    vars.timeout = std::isfinite(seconds) ? std::min(seconds, max_timeout) : 0.0;
    if (vars.timeout <= 0.0)
        hide_timer.stop();
    else if (hide_timer.isActive())
        hide_timer.start(static_cast<int>(std::lround(vars.timeout * 1000.0)));
}

void VXTextPopup::stopTimer()
{
    hide_timer.stop();
}

void VXTextPopup::setMinMax(const QString& text)
{
    vars.minmax = text;
}

bool VXTextPopup::timerActive() const
{
    return hide_timer.isActive();
}

int VXTextPopup::timerInterval() const
{
    return hide_timer.interval();
}

QPixmap VXTextPopup::makePixmap(const QString& text, const QColor& colour, const QColor& text_colour,
                                const QFont& font)
{
    constexpr int margin = 4;
    const QFontMetrics metrics(font);
    const QStringList lines = text.split(QLatin1Char('\n'));
    int w = 0;
    for (const QString& line : lines)
        w = std::max(w, metrics.horizontalAdvance(line));
    const int h = metrics.height() * static_cast<int>(lines.size());
    QPixmap pixmap(w + 2 * margin, h + 2 * margin);
    pixmap.fill(colour);
    QPainter p(&pixmap);
    p.setFont(font);
    p.setPen(text_colour);
    int y = margin + metrics.ascent();
    for (const QString& line : lines) {
        p.drawText(margin, y, line);
        y += metrics.height();
    }
    return pixmap;
}

void VXTextPopup::raiseTextPopup()
{
    QString text = QString::fromUtf8(vars.text ? vars.text : "");
    if (!vars.minmax.isEmpty())
        text += QLatin1Char('\n') + vars.minmax;
    const QColor background = vars.background.color.isValid() ? vars.background.color
                                                               : palette().color(QPalette::ToolTipBase);
    const QColor foreground = vars.foreground.color.isValid() ? vars.foreground.color : QColor(Qt::black);
    picture = makePixmap(text, background, foreground, vars.font.font);
    resize(picture.size());
    double jx = 0.5, jy = 0.5;
    VX_AnchorFractions(vars.justification ? vars.justification : "c", &jx, &jy);
    // jy counts from the bottom of the box, screen y downwards
    move(vars.position.x() - static_cast<int>(std::lround(jx * picture.width())),
         vars.position.y() - static_cast<int>(std::lround((1.0 - jy) * picture.height())));
    setWindowOpacity(vars.opacity < 0.0 ? 0.0 : (vars.opacity > 1.0 ? 1.0 : vars.opacity));
    show();
    raise();
    update();
    if (vars.timeout > 0.0)
        hide_timer.start(static_cast<int>(std::lround(vars.timeout * 1000.0)));
}

void VXTextPopup::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.drawPixmap(0, 0, picture);
}
