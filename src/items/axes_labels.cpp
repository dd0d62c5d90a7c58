// VXAxes: axis labels and tic numbers.
#include "items/axes.h"

#include "foundation/nicevalues.h"
#include "viewport/viewport.h"

#include <QPainter>

#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

bool isEmpty(const char* text)
{
    return !text || !*text;
}

// Pixels from the plot area's left and bottom edges of a pair of pixel
// expressions; false when the scales fail.
bool position(VXViewport* vp, const char* xexpr, const char* yexpr, double* x, double* y)
{
    *x = *y = 0.0;
    return vp->getPixels(xexpr, yexpr, x, y, nullptr) >= 0;
}

// Fractional pixel offset of a label beyond its tic for a tic style: clear
// of outward and crossing tics.
int labelOffset(char style_letter, double length)
{
    if (!std::isfinite(length))
        length = 0.0;
    length = std::fmin(std::fmax(length, -1e6), 1e6);
    switch (style_letter) {
    case 'c':
        return int(std::trunc(0.5 * length + 5.5));
    case 'o':
        return int(std::trunc(5.5 + length));
    default:
        return 8;
    }
}

} // namespace

void VXAxes::drawXLabel(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !vars.xvisible_tics || isEmpty(vars.x_label))
        return;
    VX_setup_text(painter, &vars.foreground_labels, &vars.font_labels);
    double x, y;
    if (!position(vp, "0.5v", "fbottom+10", &x, &y))
        return;
    vp->drawText(painter, &vars.font_labels, x, y, "s", 0.0, vars.x_label, 0, 0, 0, &vars.foreground_labels,
                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 1);
}

void VXAxes::drawYLabel(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !vars.yvisible_tics || isEmpty(vars.y_label))
        return;
    VX_setup_text(painter, &vars.foreground_labels, &vars.font_labels);
    double x, y;
    if (!position(vp, "fleft+10", "0.5v", &x, &y))
        return;
    vp->drawText(painter, &vars.font_labels, x, y, "n", -90.0, vars.y_label, 0, 0, 0, &vars.foreground_labels,
                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 1);
}

void VXAxes::drawXTicLabels(QPainter* painter, int w, double xstart, double xscale)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !vars.xvisible_tics || isEmpty(vars.x_format) || strcmp(vars.x_format, "none") == 0 || w <= 0
        || !std::isfinite(xscale) || xscale == 0.0)
        return;
    if (strcmp(vars.x_format, "time") == 0) {
        drawXTimeAxis(painter, vp->vars.xleft, vp->vars.xright);
        return;
    }
    VX_setup_text(painter, &vars.foreground_numbers, &vars.font_numbers);
    const double xend = xstart + 1.0 / xscale;
    char xexpr[64], yexpr[64], text[VX_NICE_NUMBER_SIZE];
    double x, y;

    if (vp->vars.xmode == VX_SCALE_LOG) {
        if (vp->vars.xleft <= 0.0 || vp->vars.xright <= 0.0)
            return;
        std::vector<VX_AxisTic> decades;
        VX_axes_log_tics(xstart, xend, &decades, nullptr);
        for (const VX_AxisTic& t : decades) {
            snprintf(xexpr, sizeof xexpr, "%.3fv", t.fx);
            if (position(vp, xexpr, "bottom-10", &x, &y))
                vp->drawText(painter, &vars.font_numbers, x, y, "n", 0.0, "10", 0, 0, 0, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr, nullptr, 1);
        }
        int tw = 0, th = 0;
        VX_get_fontmetrics(&vars.font_numbers, "10", &tw, &th, nullptr, nullptr);
        const double dx = 0.7 * tw / w, dy = 0.2 * th;
        // the exponent stands at the upper right of its "10": its lower left
        // corner a fifth of the size of "10" right of it and below its top;
        // anchored there, its place does not depend on its own size
        VX_setup_text(painter, &vars.foreground_numbers, &vars.font_supers);
        for (const VX_AxisTic& t : decades) {
            snprintf(xexpr, sizeof xexpr, "%.3fv", t.fx + dx);
            snprintf(text, sizeof text, "%d", int(std::lround(t.value)));
            if (position(vp, xexpr, "bottom-10", &x, &y))
                vp->drawText(painter, &vars.font_supers, x, y - dy, "sw", 0.0, text, 0, 0, 0, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 1);
        }
        return;
    }

    snprintf(yexpr, sizeof yexpr, "bottom-%d", labelOffset(vars.tic_style_south, vars.xticlength_big));
    std::vector<VX_AxisTic> big;
    VX_axes_linear_tics(xstart, xend, w, vars.mindx, vars.xincr_num, vars.xincr_sml, &big, nullptr);
    for (const VX_AxisTic& t : big) {
        snprintf(xexpr, sizeof xexpr, "%.3fv", t.fx);
        // a format that does not write numbers writes none of them
        if (VX_nice_number(t.value, vars.x_format, text) < 0)
            return;
        if (!position(vp, xexpr, yexpr, &x, &y))
            continue;
        vp->drawText(painter, &vars.font_numbers, x, y, "n", 0.0, text, 0, 0, 0, nullptr, nullptr, nullptr, nullptr,
                     nullptr, nullptr, nullptr, nullptr, 1);
    }
}

void VXAxes::drawYTicLabels(QPainter* painter, int h, double ystart, double yscale)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !vars.yvisible_tics || isEmpty(vars.y_format) || strcmp(vars.y_format, "none") == 0 || h <= 0
        || !std::isfinite(yscale) || yscale == 0.0)
        return;
    VX_setup_text(painter, &vars.foreground_numbers, &vars.font_numbers);
    const double yend = ystart + 1.0 / yscale;
    char xexpr[64], yexpr[64], text[VX_NICE_NUMBER_SIZE];
    double x, y;

    if (vp->vars.ymode == VX_SCALE_LOG) {
        if (vp->vars.ybottom <= 0.0 || vp->vars.ytop <= 0.0)
            return;
        std::vector<VX_AxisTic> decades;
        VX_axes_log_tics(ystart, yend, &decades, nullptr);
        for (const VX_AxisTic& t : decades) {
            snprintf(yexpr, sizeof yexpr, "%.3fv", t.fx);
            if (position(vp, "left-18", yexpr, &x, &y))
                vp->drawText(painter, &vars.font_numbers, x, y, "e", 0.0, "10", 0, 0, 0, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr, nullptr, 1);
        }
        int tw = 0, th = 0;
        VX_get_fontmetrics(&vars.font_numbers, "10", &tw, &th, nullptr, nullptr);
        VX_setup_text(painter, &vars.foreground_numbers, &vars.font_supers);
        for (const VX_AxisTic& t : decades) {
            snprintf(yexpr, sizeof yexpr, "%.3fv", t.fx);
            snprintf(text, sizeof text, "%d", int(std::lround(t.value)));
            if (position(vp, "left-18", yexpr, &x, &y))
                vp->drawText(painter, &vars.font_supers, x + 0.2 * tw, y + 0.3 * th, "sw", 0.0, text, 0, 0, 0, nullptr,
                             nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 1);
        }
        return;
    }

    snprintf(xexpr, sizeof xexpr, "left-%d", labelOffset(vars.tic_style_west, vars.yticlength_big));
    std::vector<VX_AxisTic> big;
    VX_axes_linear_tics(ystart, yend, h, vars.mindy, vars.yincr_num, vars.yincr_sml, &big, nullptr);
    for (const VX_AxisTic& t : big) {
        snprintf(yexpr, sizeof yexpr, "%.3fv", t.fx);
        // a format that does not write numbers writes none of them
        if (VX_nice_number(t.value, vars.y_format, text) < 0)
            return;
        if (!position(vp, xexpr, yexpr, &x, &y))
            continue;
        vp->drawText(painter, &vars.font_numbers, x, y, "e", 0.0, text, 0, 0, 0, nullptr, nullptr, nullptr, nullptr,
                     nullptr, nullptr, nullptr, nullptr, 1);
    }
}
