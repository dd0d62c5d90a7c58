// The axes tic generators and the axes item on arbitrary views.  The input
// is a flags byte (scale modes, map, number format, tic style), two size
// bytes, then up to six doubles: the x and y limits and two increments.
// Missing bytes are zero.  The generators run on the raw doubles and the
// item draws the view into a small image; both must end, and the tics must
// lie in the view.
#include <VX.h>
#include "fuzzapp.h"

#include "items/axes.h"
#include "viewport/viewport.h"

#include <QImage>
#include <QPainter>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

void checkTics(const std::vector<VX_AxisTic>& tics, double lo, double hi)
{
    if (tics.size() > size_t(VX_AXES_MAX_TICS))
        abort();
    for (const VX_AxisTic& t : tics)
        if (!(t.fx >= lo && t.fx <= hi))
            abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_application();
    uint8_t head[3] = {0, 0, 0};
    double v[6] = {0, 0, 0, 0, 0, 0};
    if (size > 0)
        memcpy(head, data, size < 3 ? size : 3);
    if (size > 3)
        memcpy(v, data + 3, size - 3 < sizeof v ? size - 3 : sizeof v);
    const int flags = head[0];
    const int w = 4 + head[1] % 120, h = 4 + head[2] % 120;

    std::vector<VX_AxisTic> big, small;
    VX_axes_linear_tics(v[0], v[1], w, h, v[4], v[5], &big, &small);
    checkTics(big, -1e-5, 1.00001);
    checkTics(small, -1e-5, 1.00001);
    VX_axes_log_tics(v[2], v[3], &big, &small);
    checkTics(big, -1e-5, 1.00001);
    checkTics(small, 0.0, 1.0);
    double first = 0, incr = 0;
    const int n = VX_axes_time_tics(1 + head[1], v[0], v[1], &first, &incr);
    if (n < 0 || n > 1000)
        abort();

    static const char* const maps[] = {"none", "none", "edp", "globe"};
    static const char* const formats[] = {"auto", "time", "none", "%.2e"};
    static const char* const tics[] = {"nisieiwi", "so", "ncscecwc", "nowo"};
    VXViewport vp(nullptr, 0, 0);
    vp.resize(w, h);
    vp.configure("margin", "10 10 10 10", "map", maps[(flags >> 2) & 3], nullptr);
    vp.vars.xmode = flags & 1 ? VX_SCALE_LOG : VX_SCALE_LIN;
    vp.vars.ymode = flags & 2 ? VX_SCALE_LOG : VX_SCALE_LIN;
    vp.setWcoordsX(v[0], v[1]);
    vp.setWcoordsY(v[2], v[3]);
    vp.setScales();
    VXAxes axes(&vp);
    char incr_text[40];
    snprintf(incr_text, sizeof incr_text, "%.17g", v[4]);
    axes.configure("xformat", formats[(flags >> 4) & 3], "tic_style", tics[(flags >> 6) & 3], "xincrement",
                   incr_text, "linewidth_grids_small", "1", nullptr);
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    axes.draw(&painter);
    painter.end();
    hl_clear_register(0);
    return 0;
}
