// Time axes: the viewport's line of times over a line of dates, and the
// axes item's older ladder of time labels.
#include "items/axes.h"

#include "toolkit/base/hltime.h"
#include "viewport/viewport.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Times up to this many seconds are not dates: they are written as plain
// seconds.
constexpr double least_date = 100000.0;

// Most labels a time axis writes, whatever the width.
constexpr int max_time_labels = 1000;

// Most labels of the older ladder.
constexpr int max_ladder_labels = 100;

const double Time_divisions[] = {31536000, 15552000, 7776000, 2592000, 1209600, 604800, 432000, 172800,
                                 86400,    43200,    21600,   10800,   3600,    1800,   900,    300,
                                 120,      60,       30,      15,      5,       2,      1};
constexpr int n_time_divisions = int(sizeof Time_divisions / sizeof Time_divisions[0]);

// The text of a label at time t in format: plain seconds for small times,
// otherwise the time rounded to the millisecond; empty when the time cannot
// be written.
void timeText(double t, const char* format, bool date_line, char* text, size_t size)
{
    text[0] = '\0';
    if (t <= least_date) {
        if (date_line)
            snprintf(text, size, " ");
        else
            snprintf(text, size, "%.3f", t);
        return;
    }
    char* s = timeformat(std::floor(1000.0 * t + 0.5) / 1000.0, format);
    if (s) {
        snprintf(text, size, "%s", s);
        free(s);
    }
}

} // namespace

int VX_axes_time_tics(int n, double start, double end, double* first, double* incr)
{
    if (!first || !incr)
        return 0;
    n = std::clamp(n, 1, max_time_labels);
    double t0 = 0, step = 0;
    if (nicetimeticks(n, &t0, &step, start, end) < 0 || !std::isfinite(t0) || !std::isfinite(step) || step <= 0.0)
        return 0;
    const double hi = std::max(start, end);
    // a time a rounding error past the limit still counts
    const double slack = 1e-9 * step;
    int count = 0;
    while (count < n && t0 + count * step <= hi + slack)
        count++;
    *first = t0;
    *incr = step;
    return count;
}

int VXViewport::drawXTimeAxis(QPainter* painter, VX_Font* font, VX_Color* axis_color, int width, int style,
                              VX_Color* text_color, char* time_format, char* date_format)
{
    int w = 0, h = 0;
    double xstart = 0, xend = 0, xscale = 0, ystart = 0, yend = 0, yscale = 0;
    const int ret = getScales(&w, &h, &xstart, &xend, &xscale, &ystart, &yend, &yscale);
    if (ret < 0)
        return ret;
    if (!painter || !std::isfinite(xscale) || xscale == 0.0)
        return 0;
    int tw = 0, th = 0;
    VX_get_fontmetrics(font, "000:00:00.000", &tw, &th, nullptr, nullptr);
    const int n = tw > 0 ? int(std::trunc(0.1 + double(w) / tw)) : 10;
    double first = 0, incr = 0;
    const int count = VX_axes_time_tics(n, xstart, xend, &first, &incr);
    if (count <= 0)
        return 0;

    if (width >= 0) {
        VX_setup_line(painter, axis_color, std::min(width, 1000), style, -1, -1);
        for (int i = 0; i < count; i++) {
            const double fx = (first + i * incr - xstart) * xscale;
            bufferDraws(painter, 0, 0, w, h, fx, 0.0, fx, 1.0);
        }
        bufferDraws(painter, 0, 1, w, h, 0, 0, 0, 0);
    }

    double left = 0, bottom = 0;
    getPixels("left", "bottom-10", &left, &bottom, nullptr);
    char text[256];
    const auto line = [&](const char* format, bool date_line, double y) {
        VX_setup_text(painter, text_color, font);
        for (int i = 0; i < count; i++) {
            const double t = first + i * incr;
            timeText(t, format, date_line, text, sizeof text);
            const double x = (t - xstart) * w / (xend - xstart);
            drawText(painter, font, x, y, "n", 0.0, text, 0, 0, 0, text_color, nullptr, nullptr, nullptr, nullptr,
                     nullptr, nullptr, nullptr, 1);
        }
    };
    if (time_format && *time_format)
        line(time_format, false, bottom);
    if (date_format && *date_format)
        line(date_format, true, bottom - th);
    return 0;
}

int VXAxes::chooseScale(double range, int min, int max, const double* table, int n, double* big, double* small,
                        int* exponent)
{
    *big = *small = 0.0;
    *exponent = 0;
    range = std::fabs(range);
    if (!std::isfinite(range) || range == 0.0 || !table || n < 1 || min < 1 || max < min)
        return -1;
    for (int i = 0; i < n; i++) {
        if (range / table[i] > min) {
            *big = table[i];
            *small = i + 1 < n && std::fmod(table[i], table[i + 1]) == 0.0 ? table[i + 1] : table[i] / 5.0;
            if (range / table[i] <= max)
                return 0;
            break;
        }
    }
    // beyond the table: decades of its largest or of its smallest entry
    const bool above = range / table[0] > max;
    const double unit = above ? table[0] : table[n - 1];
    double factor = 1.0;
    for (int k = 0; k < 700 && range / (unit * factor) > max; k++) {
        factor *= 10.0;
        (*exponent)++;
    }
    for (int k = 0; k < 700 && range / (unit * factor) < min; k++) {
        factor /= 10.0;
        (*exponent)--;
    }
    const double residue = range / (unit * factor);
    double step = unit * factor;
    if (residue > 12.0)
        step *= 5.0;
    else if (residue > 5.0)
        step *= 2.0;
    if (!std::isfinite(step) || step <= 0.0)
        return -1;
    *big = step;
    *small = step / 5.0;
    return 0;
}

const char* VXAxes::chooseTimeFormat(double big)
{
    if (big > 3.1536e7)
        return "%y";
    if (big > 2.592e6)
        return "%b-%y";
    if (big > 86400)
        return "%b-%d";
    if (big > 60)
        return "%H:%M";
    if (big > 1)
        return "%H:%M:%S";
    return "%H:%M:%S.%s";
}

void VXAxes::labelXTic(QPainter* painter, double t, double x, const char* format)
{
    VXViewport* vp = getViewportParent();
    if (!vp)
        return;
    char* text = timeformat(t, format);
    if (!text)
        return;
    double px = 0, py = 0;
    if (vp->getPixels("left", "bottom-5", &px, &py, nullptr) >= 0)
        vp->drawText(painter, &vars.font_numbers, x, py, "n", 0.0, text, 0, 0, 0, nullptr, nullptr, nullptr,
                     nullptr, nullptr, nullptr, nullptr, nullptr, 1);
    free(text);
}

void VXAxes::drawXTimeAxis(QPainter* painter, double xleft, double xright)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !painter || !std::isfinite(xleft) || !std::isfinite(xright) || xleft == xright)
        return;
    int w = 0, h = 0;
    double xstart = 0, xend = 0, xscale = 0, ystart = 0, yend = 0, yscale = 0;
    if (vp->getScales(&w, &h, &xstart, &xend, &xscale, &ystart, &yend, &yscale) < 0)
        return;
    const double lo = std::min(xleft, xright), hi = std::max(xleft, xright);
    double big = 0, small = 0;
    int exponent = 0;
    if (chooseScale(hi - lo, 2, 19, Time_divisions, n_time_divisions, &big, &small, &exponent) < 0)
        return;
    const char* format = chooseTimeFormat(big);
    const double first = std::ceil(lo / big) * big;
    if (!std::isfinite(first))
        return;
    const auto xOf = [&](double t) { return (t - xleft) * w / (xright - xleft); };

    VX_setup_text(painter, &vars.foreground_numbers, &vars.font_numbers);
    const char* header = big < 86400 ? "%D" : big < 30 * 86400 ? "%Y" : nullptr;
    if (header) {
        char* text = timeformat(first, header);
        double px = 0, py = 0;
        if (text && vp->getPixels("0.5v", "bottom-20", &px, &py, nullptr) >= 0)
            vp->drawText(painter, &vars.font_numbers, px, py, "n", 0.0, text, 0, 0, 0, nullptr, nullptr, nullptr,
                         nullptr, nullptr, nullptr, nullptr, nullptr, 1);
        free(text);
    }

    if (big < 2.592e6) {
        for (int i = 0; i < max_ladder_labels; i++) {
            const double t = first + i * big;
            if (t > hi)
                break;
            labelXTic(painter, t, xOf(t), format);
        }
        return;
    }
    int year = 0, month = 0;
    if (timebreakdown2(lo, &year, &month, nullptr, nullptr, nullptr, nullptr, nullptr) < 0)
        return;
    char when[64];
    if (big < 31536000) {
        // by months, from the first of the month of the left limit
        const int step = std::max(1, int(std::lround(big / 2592000.0)));
        for (int i = 0; i < max_ladder_labels; i++) {
            snprintf(when, sizeof when, "%d/1/%d", month, year);
            const double t = timeparse(when);
            if (t == HL_TIME_NULL || t > hi)
                break;
            if (t >= lo)
                labelXTic(painter, t, xOf(t), format);
            month += step;
            year += (month - 1) / 12;
            month = (month - 1) % 12 + 1;
        }
        return;
    }
    const double years = big / 31536000.0;
    const int step = years < 1e6 ? std::max(1, int(std::lround(years))) : 1000000;
    year = int(std::floor(year / double(step))) * step;
    for (int i = 0; i < max_ladder_labels; i++, year += step) {
        snprintf(when, sizeof when, "1/1/%d", year);
        const double t = timeparse(when);
        if (t == HL_TIME_NULL || t > hi)
            break;
        if (t >= lo)
            labelXTic(painter, t, xOf(t), format);
    }
}
