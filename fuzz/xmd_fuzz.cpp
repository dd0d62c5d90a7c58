// libFuzzer target for map data files: any bytes either are refused with a
// message, or load into records whose every tile and segment can be walked
// and drawn: grid tiles inflate or fail cleanly, and a small raster and the
// vectors of every resolution draw without reading outside the input.
#include <VX.h>

#include "map/mapdata.h"
#include "toolkit/base/errors.h"

#include <QImage>
#include <QPainter>

#include <cstdint>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > (1u << 22))
        return 0;
    // a private copy: the reader keeps pointers into it
    std::vector<unsigned char> bytes(data, data + size);
    VXMapData md(1);
    if (md.setInputBuffer(bytes.data(), bytes.size(), "fuzz.xmd") < 0) {
        if (hl_error_count() == 0)
            __builtin_trap();  // a refusal always says why
        hl_clear_register(0);
        return 0;
    }
    static VxViewport vp = [] {
        VxViewport v;
        v.w = 64;
        v.h = 32;
        v.map_tran = VX_MAP_GEOG;
        v.xleft = -180;
        v.xright = 180;
        v.ybottom = -90;
        v.ytop = 90;
        return v;
    }();
    QImage target(64, 32, QImage::Format_ARGB32);
    for (long r = 0; r < md.frame.nresolutions; r++) {
        md.setResolution(static_cast<int>(r));
        const HLMapDataResolution& res = md.frame.resolutions[r];
        if (res.map_type == HL_MAPDATA_GRID) {
            for (long t = 0; t < res.ntiles && t < 64; t++) {
                unsigned char* buf = nullptr;
                md.getTileGrid(static_cast<int>(r), static_cast<int>(t), &buf);
            }
            md.drawImage(16, 8, VX_MAP_GEOG, -180, 180, -90, 90, 0, 0, 1.0, 0.0);
            md.cleanCache(0, 0);
        } else {
            QPainter painter(&target);
            VX_Color outline, water, land;
            VX_ParseColor("black", outline);
            VX_ParseColor("red", land);
            md.drawVector(painter, &vp, {}, {}, 1.0, outline, water, land);
        }
    }
    hl_clear_register(0);
    return 0;
}
