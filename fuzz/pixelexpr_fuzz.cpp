// Pixel expressions, pixel counts and anchors on arbitrary input.  The
// input is one expression evaluated on both axes of a fixed plot area, in a
// scale mode chosen by its length, with and without a relative box; it is
// also read as a plain pixel count and as an anchor name.  The results are
// checked for the invariants the callers rely on.
#include <VX.h>

#include "viewport/pixelexpr.h"
#include "viewport/viewport.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr size_t max_input = 8192;

VxViewport frame(int mode)
{
    VxViewport vp;
    vp.w = 120;
    vp.h = 70;
    vp.mleft = 10;
    vp.mright = 10;
    vp.mbottom = 5;
    vp.mtop = 15;
    vp.xmode = vp.ymode = mode;
    vp.xleft = mode == VX_SCALE_LOG ? 1.0 : 0.0;
    vp.xright = 100.0;
    vp.ybottom = mode == VX_SCALE_LOG ? 0.5 : -5.0;
    vp.ytop = 5.0;
    return vp;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > max_input)
        return 0;
    const char* text = reinterpret_cast<const char*>(data);
    const VxViewport vp = frame(static_cast<int>(size % 3));
    const VX_PixelBox box{3.0, 4.0, 50.0, 20.0};
    for (int axis = 0; axis < 2; axis++) {
        for (const VX_PixelBox* relative : {static_cast<const VX_PixelBox*>(nullptr), &box}) {
            double pixels = 0.0;
            int r = VX_PixelExpression(&vp, axis, text, size, relative, &pixels);
            if (r != 0 && r != -1)
                abort();
            if (r == 0 && std::isnan(pixels))
                abort();
            if (r < 0 && hl_error_count() == 0)
                abort();  // a refused expression says why
            hl_clear_register(0);
        }
    }
    int count = 0;
    int r = VX_PixelCount(text, size, &count);
    if ((r != 0 && r != -1) || count > 1000000000 || count < -1000000000 || (r < 0 && count != 0))
        abort();
    hl_clear_register(0);
    // anchors read a terminated text
    std::string anchor(text, size);
    double jx = -1.0, jy = -1.0;
    VX_AnchorFractions(anchor.c_str(), &jx, &jy);
    if (!(jx == 0.0 || jx == 0.5 || jx == 1.0) || !(jy == 0.0 || jy == 0.5 || jy == 1.0))
        abort();
    return 0;
}
