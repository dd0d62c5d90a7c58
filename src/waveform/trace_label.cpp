// VXTrace: the left margin: selection bar and number, amplitude bracket
// with its numbers, channel label and filter label.
#include "waveform/trace.h"

#include "viewport/viewport.h"

#include <QFontMetricsF>
#include <QPainter>

#include <cmath>

namespace {

// Most tick numbers of one bracket, whatever the range asks.
constexpr int max_ticks = 1000;

const VX_Color& colorOr(const VX_Color& own, const VX_Color& view)
{
    return own.color.isValid() ? own : view;
}

VX_Font fontOr(const VX_Font& own, const VX_Font& view)
{
    return own.invalid ? view : own;
}

// Pixel height of a font as text is laid out in it; 0 when unset.
double fontHeight(const VX_Font& font)
{
    if (font.invalid)
        return 0.0;
    return QFontMetricsF(font.font).height();
}

} // namespace

void trace_get_nice_fvals(double fstart, double fend, int maxvals, int* istart, int* iend, double* ninc)
{
    *ninc = 0.0;
    const double span = fend - fstart;
    if (span == 0.0 || maxvals <= 1 || !std::isfinite(span))
        return;
    const double window = std::fabs(span) / (maxvals - 1);
    if (!(window > 0.0) || !std::isfinite(window))
        return;
    double e = 1.0;
    while (e > window)
        e /= 10.0;
    while (window >= e)
        e *= 10.0;
    // the smallest of these steps that is still above the window
    double step = e;
    for (double f : {0.5, 0.4, 0.2, 0.1})
        if (f * e > window)
            step = f * e;
    // a window far from zero for its width (a large offset) has tick
    // numbers beyond int: no ticks then
    if (!(step > 0.0) || std::fabs(fstart / step) > 1e9 || std::fabs(fend / step) > 1e9)
        return;
    *ninc = step;
    if (fend > fstart) {
        long i = static_cast<long>(std::trunc(fstart / step + 0.99999));
        if (fstart < 0.0) {
            i--;
            if (fstart > i * step)
                i++;
        }
        *istart = static_cast<int>(i);
        *iend = static_cast<int>(std::floor(fend / step + 1e-5));
    } else {
        long i = static_cast<long>(std::trunc(fstart / step + 1e-5));
        if (fstart > 0.0) {
            i++;
            if (fstart < i * step)
                i--;
        }
        *istart = static_cast<int>(i);
        *iend = static_cast<int>(std::ceil(fend / step - 1e-5));
    }
}

QString trace_amplitude_text(double v)
{
    const double a = std::fabs(v);
    if (a >= 1000.0)
        return QString::number(static_cast<long long>(std::round(v)));
    if (a >= 10.0)
        return QString::asprintf("%.1f", v);
    if (a >= 1.0)
        return QString::asprintf("%.2f", v);
    if (a >= 0.1)
        return QString::asprintf("%.3f", v);
    if (a >= 0.01)
        return QString::asprintf("%.4f", v);
    if (a >= 0.001)
        return QString::asprintf("%.5f", v);
    return QString::asprintf("%.3g", v);
}

void VXTrace::drawLabel(QPainter* painter)
{
    VXViewport* vp = defaults ? defaults->viewport : nullptr;
    if (!painter || !vp || !vars.visible)
        return;
    const VxTraceviewDefaults& d = *defaults;
    const int label_visible = vars.label_visible >= 0 ? vars.label_visible : d.label_visible;
    const int ampscale_visible = vars.ampscale_visible >= 0 ? vars.ampscale_visible : d.ampscale_visible;
    double abottom, atop, ybottom, ytop, ybottom_pixel, ytop_pixel;
    if (getAmpScales(abottom, atop, ybottom, ytop, ybottom_pixel, ytop_pixel) < 0)
        return;
    if (ybottom > vp->vars.ytop || ytop < vp->vars.ybottom)
        return;  // wholly off the view
    const VxViewport& v = vp->vars;
    const int w = v.w - v.mleft - v.mright, h = v.h - v.mtop - v.mbottom;
    const double vspan = v.ytop - v.ybottom;
    const double P = h * (ytop - ybottom) / vspan;
    const int H = static_cast<int>(ybottom_pixel - ytop_pixel + 1.0);
    // with no calibration yet, amplitudes show as counts
    const double scale = units_scale != 0.0 ? units_scale : 1.0;
    // y of a widget row counted up from the plot's bottom edge, as drawText takes it
    auto up = [&](double row) { return (v.h - v.mbottom) - row; };

    VX_Font label_font = fontOr(vars.font_trace_label, d.font_trace_label);
    const double lh = fontHeight(label_font);
    if (lh > 0.9 * H && H > 0 && label_font.font.pixelSize() > 0) {
        const int size = std::max(1, static_cast<int>(label_font.font.pixelSize() * 0.9 * H / lh));
        VX_SetFontSize(size, label_font);
    }

    painter->save();
    // 1. the selection bar and number
    if (select_order > 0 && label_visible) {
        painter->save();
        painter->setClipRect(QRectF(10.0, 0.0, std::max(0, v.mleft - 10), v.h), Qt::IntersectClip);
        VX_Color bar = colorOr(vars.color_trace_select_background, d.color_trace_select_background);
        if (bar.color.isValid())
            painter->fillRect(QRectF(20.0, ytop_pixel, std::max(0.0, v.mleft - 10.0 - 20.0), ybottom_pixel - ytop_pixel),
                              bar.color);
        VX_Font font = fontOr(vars.font_trace_select_order_label, d.font_trace_select_order_label);
        VX_Color color = colorOr(vars.color_trace_select_order_label, d.color_trace_select_order_label);
        double x = 0.0, y = 0.0;
        const QByteArray ys = QByteArray::number(ybottom, 'f', 6) + "d";
        if (vp->getPixels("fleft+25", ys.constData(), &x, &y, nullptr) == 0) {
            const QByteArray text = QByteArray::number(select_order);
            vp->drawText(painter, &font, x, y, "sw", 0.0, text.constData(), 0, 0, 0, &color, nullptr, nullptr,
                         nullptr, nullptr, nullptr, nullptr, nullptr, 0);
        }
        painter->restore();
    }

    // 2. the amplitude bracket
    const double centre_row = 0.5 * (ytop_pixel + ybottom_pixel);
    if (ampscale_visible && P > 50.0) {
        int maxvals = std::max(2, static_cast<int>(P / 40.0));
        int istart = 0, iend = 0;
        double ninc = 0.0;
        trace_get_nice_fvals(abottom * scale, atop * scale, maxvals, &istart, &iend, &ninc);
        VX_Color color = colorOr(vars.color_trace_amp_label, d.color_trace_amp_label);
        VX_Font font = fontOr(vars.font_trace_amp_label, d.font_trace_amp_label);
        const double edge = v.mleft;
        QPainterPath bracket;
        bracket.moveTo(edge, ytop_pixel);
        bracket.lineTo(edge - 5.0, ytop_pixel);
        bracket.lineTo(edge - 5.0, ybottom_pixel);
        bracket.lineTo(edge, ybottom_pixel);
        QList<std::pair<double, double>> ticks;  // value, row
        if (ninc > 0.0) {
            const int stepi = iend >= istart ? 1 : -1;
            for (long i = istart, k = 0; k < max_ticks; i += stepi, k++) {
                const double value = i * ninc;
                const double row = amp2Pixel(value / scale);
                bracket.moveTo(edge - 10.0, row);
                bracket.lineTo(edge - 5.0, row);
                ticks.append({value, row});
                if (i == iend)
                    break;
            }
        }
        painter->save();
        painter->setClipRect(QRectF(10.0, 0.0, std::max(0, v.w - 10), v.h), Qt::IntersectClip);
        VX_setup_line(painter, &color, 2.0, static_cast<int>(Qt::SolidLine), -1, -1);
        painter->setBrush(Qt::NoBrush);
        painter->drawPath(bracket);
        // numbers keep clear of the channel label at the band's centre
        const double keep_clear = 0.5 * lh + 0.5 * fontHeight(font);
        for (qsizetype k = 0; k < ticks.size(); k++) {
            const double row = ticks.at(k).second;
            if (label_visible && std::fabs(row - centre_row) < keep_clear)
                continue;
            QString text = trace_amplitude_text(ticks.at(k).first);
            if ((k == 0 || k == ticks.size() - 1) && !units.isEmpty())
                text += QLatin1Char(' ') + units;
            double x = 0.0, unused = 0.0;
            if (vp->getPixels("left-15", "0", &x, &unused, nullptr) < 0)
                continue;
            const QByteArray t = text.toUtf8();
            vp->drawText(painter, &font, x, up(row), "e", 0.0, t.constData(), 0, 0, 0, &color, nullptr, nullptr,
                         nullptr, nullptr, nullptr, nullptr, nullptr, 0);
        }
        painter->restore();
    }

    // 3. the channel label, and 4. the filter label under it
    double label_y = up(centre_row), label_h = 0.0;
    bool label_drawn = false;
    if (label_visible && centre_row >= v.mtop && centre_row <= v.mtop + h) {
        VX_Color color = colorOr(vars.color_trace_label, d.color_trace_label);
        const QString name = vars.channel_label.isEmpty() ? channel_label : vars.channel_label;
        const QByteArray t = name.toUtf8();
        const QByteArray ys = "top-" + QByteArray::number(static_cast<long long>(std::round(centre_row - v.mtop)));
        double x = 0.0, y = 0.0, xbb = 0.0, ybb = 0.0;
        int wbb = 0, hbb = 0;
        if (vp->getPixels("left-15", ys.constData(), &x, &y, nullptr) == 0) {
            vp->drawText(painter, &label_font, x, y, "e", 0.0, t.constData(), 0, 0, 0, &color, nullptr, nullptr,
                         nullptr, &xbb, &ybb, &wbb, &hbb, 0);
            label_y = ybb;
            label_h = hbb;
            label_drawn = true;
        }
    }
    if (P > 30.0) {
        const QString text = !filter_label.isEmpty() ? filter_label : filter_string;
        if (!text.isEmpty() && text != QLatin1String("none")) {
            VX_Color color = colorOr(vars.color_trace_filter_label, d.color_trace_filter_label);
            VX_Font font = fontOr(vars.font_trace_filter_label, d.font_trace_filter_label);
            double x = 0.0, unused = 0.0;
            if (vp->getPixels("left-15", "0", &x, &unused, nullptr) == 0) {
                const double y = label_drawn ? label_y - label_h + 10.0 : up(centre_row);
                const QByteArray t = text.toUtf8();
                vp->drawText(painter, &font, x, y, "ne", 0.0, t.constData(), 0, 0, 0, &color, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr, nullptr, 0);
            }
        }
    }
    (void)w;
    painter->restore();
}
