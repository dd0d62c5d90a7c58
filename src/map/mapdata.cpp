// VXMapData: construction, resolution choice, the colour table and the
// raster's buffer.  The raster kernel is in mapdata_raster.cpp, the vector
// kernel in mapdata_vector.cpp.
#include "map/mapdata.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/mtpool.h"

#include <QImage>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>

const VxMapDataCptRow vxmapdata_cpt_table[] = {
    {-5000, 44, 53, 99},    {-4900, 46, 54, 100},   {-4800, 48, 56, 103},   {-4700, 50, 59, 106},
    {-4600, 52, 60, 107},   {-4500, 54, 61, 109},   {-4400, 56, 63, 111},   {-4300, 57, 65, 113},
    {-4200, 60, 68, 116},   {-4100, 62, 70, 118},   {-4000, 64, 72, 120},   {-3900, 66, 74, 122},
    {-3800, 68, 75, 124},   {-3700, 70, 78, 126},   {-3600, 73, 81, 129},   {-3500, 76, 84, 132},
    {-3400, 77, 85, 133},   {-3300, 80, 88, 136},   {-3200, 82, 90, 138},   {-3100, 86, 94, 142},
    {-3000, 88, 96, 144},   {-2900, 90, 99, 146},   {-2800, 92, 101, 148},  {-2700, 95, 104, 151},
    {-2600, 98, 107, 154},  {-2500, 102, 111, 157}, {-2400, 105, 114, 160}, {-2300, 107, 117, 162},
    {-2200, 112, 121, 165}, {-2100, 117, 125, 167}, {-2000, 124, 131, 170}, {-1900, 130, 135, 173},
    {-1800, 134, 139, 175}, {-1700, 139, 143, 177}, {-1600, 143, 147, 180}, {-1500, 148, 152, 181},
    {-1400, 155, 158, 185}, {-1300, 159, 161, 187}, {-1200, 163, 165, 189}, {-1100, 166, 168, 191},
    {-1000, 170, 172, 193}, {-900, 175, 176, 195},  {-800, 180, 181, 197},  {-700, 182, 183, 199},
    {-600, 185, 186, 200},  {-500, 187, 188, 202},  {-400, 190, 191, 203},  {-300, 193, 193, 204},
    {-200, 194, 195, 205},  {-100, 196, 197, 206},  {0, 197, 197, 206},     {1, 0, 132, 53},
    {833, 51, 204, 0},      {1667, 244, 240, 113},  {3333, 244, 189, 69},   {5000, 152, 100, 43},
    {7500, 255, 255, 255},  {-9999, 0, 0, 0},
};

unsigned int* vxmapdata_cpt = nullptr;
int vxmapdata_ecpt = 0;
int vxmapdata_ncpt = 0;

namespace {

std::once_flag cpt_once;

unsigned int argb(int r, int g, int b)
{
    return 0xff000000u | static_cast<unsigned>(r) << 16 | static_cast<unsigned>(g) << 8 | static_cast<unsigned>(b);
}

void makeCpt()
{
    int nrows = 0;
    while (vxmapdata_cpt_table[nrows].z != -9999)
        nrows++;
    // the table is in metres; grid heights come in units of 1.6 m
    std::vector<int> z(nrows);
    for (int i = 0; i < nrows; i++)
        z[i] = static_cast<int>(vxmapdata_cpt_table[i].z * 0.625);
    const int first = z[0], last = z[nrows - 1];
    unsigned int* cpt = static_cast<unsigned int*>(malloc(sizeof(unsigned int) * (last - first + 1)));
    if (!cpt)
        hl_die(HL_SEVERITY_SYSTEM, "vxmapdata_make_cpt: malloc(%d) error.\n", last - first + 1);
    int row = 0;
    for (int zi = first; zi <= last; zi++) {
        while (z[row] < zi)
            row++;
        const VxMapDataCptRow& r2 = vxmapdata_cpt_table[row];
        if (z[row] == zi || row == 0) {
            cpt[zi - first] = argb(r2.red, r2.green, r2.blue);
            continue;
        }
        const VxMapDataCptRow& r1 = vxmapdata_cpt_table[row - 1];
        const double z1 = z[row - 1], z2 = z[row];
        auto channel = [&](int c1, int c2) {
            return static_cast<int>(0.5 + (c1 + (zi - z1) * ((c2 - c1) / (z2 - z1))));
        };
        cpt[zi - first] = argb(channel(r1.red, r2.red), channel(r1.green, r2.green), channel(r1.blue, r2.blue));
    }
    vxmapdata_ecpt = first;
    vxmapdata_ncpt = last - first + 1;
    vxmapdata_cpt = cpt;
}

} // namespace

void vxmapdata_make_cpt()
{
    std::call_once(cpt_once, makeCpt);
}

VXMapData::VXMapData(QString fname, int nthreads)
{
    vxmapdata_make_cpt();
    if (setInput(fname.toLocal8Bit().constData(), 0, nullptr) < 0) {
        hl_register_error(0, "VXMapData::VXMapData: setInput() error.\n");
        throw "VXMapData::VXMapData: error.";
    }
    init(nthreads);
}

VXMapData::VXMapData(int nthreads)
{
    vxmapdata_make_cpt();
    init(nthreads);
}

void VXMapData::init(int n)
{
    nthreads = n;
    if (nthreads < 2)
        return;
    nthreads = std::min(nthreads, 16);
    mtc = mtpool_create();
    if (!mtc) {
        hl_register_error(1, "VXMapData::VXMapData: mtpool_create() error.\n");
        throw "VXMapData::VXMapData: mtpool_create() error.";
    }
    // one worker per band; the pool hands worker i the band index i
    if (mtpool_addthread(mtc, fill_image, nthreads, 0, this) < 0) {
        mtpool_destroy(mtc);
        mtc = nullptr;
        hl_register_error(1, "VXMapData::VXMapData: mtpool_addthread() error.\n");
        throw "VXMapData::VXMapData: mtpool_addthread() error.";
    }
}

VXMapData::~VXMapData()
{
    // the workers hold this object: stop them before it goes
    mtpool_destroy(mtc);
    delete image;
    free(image_buf);
    free(xplt);
    free(yplt);
    dropVectorCache();
}

int VXMapData::setResolution(int index)
{
    if (index < 0 || index >= frame.nresolutions) {
        hl_register_error(0, "VXMapData::setResolution: resolution %d outside of range.\n", index);
        return -1;
    }
    resolution = index;
    return 0;
}

int VXMapData::setResolution(double dpp)
{
    if (frame.nresolutions < 1)
        return -1;
    for (long i = 0; i < frame.nresolutions; i++) {
        if (dpp > 0.5 * std::fabs(frame.resolutions[i].degrees_per_pixel)) {
            resolution = static_cast<int>(i);
            return resolution;
        }
    }
    resolution = static_cast<int>(frame.nresolutions - 1);
    return resolution;
}

QImage* VXMapData::drawImage(int w, int h, int projection, double xleft, double xright, double ybottom, double ytop,
                             double lon_ref, double lat_ref, double gamma_in, double lightmin_in)
{
    if (w <= 0 || h <= 0)
        return nullptr;
    const size_t need = static_cast<size_t>(w) * static_cast<size_t>(h) * 4;
    if (!image || w != width || h != height) {
        if (!image_buf || image_buf_size < need) {
            unsigned char* b = static_cast<unsigned char*>(image_buf ? realloc(image_buf, need) : malloc(need));
            if (!b) {
                hl_register_error(1, "VXMapData::drawImage: malloc(%zu) error.\n", need);
                return nullptr;
            }
            image_buf = b;
            image_buf_size = need;
        }
        delete image;
        image = new QImage(image_buf, w, h, w * 4, QImage::Format_ARGB32);
        width = w;
        height = h;
    }
    // a gamma at or below 0 acts as 1; so does one that is not a number,
    // and a lightmin that is not a number acts as 0 (no shaping), since
    // either would make the new lightness undefined
    gamma = !(gamma_in > 0.0) ? 1.0 : gamma_in;
    lightmin = std::isnan(lightmin_in) ? 0.0 : std::clamp(lightmin_in, 0.0, 1.0);
    xmin = xleft;
    xmax = xright;
    ymin = ybottom;
    ymax = ytop;
    // a single column or row sits at the left or top edge of the window
    dx = w > 1 ? (xmax - xmin) / (w - 1) : 0.0;
    dy = h > 1 ? (ymax - ymin) / (h - 1) : 0.0;
    tran = projection;
    latr = lat_ref;
    lonr = lon_ref;
    // pixels without data are transparent: the fill threads write zeros
    // there as they go, in their own rows; a raster nobody fills is
    // zeroed here
    if (!fills()) {
        memset(image_buf, 0, need);
        return image;
    }
    prepareRaster();
    if (mtc)
        mtpool_processthreads(mtc, 0, nthreads);
    else
        fill_image(0, height, this);
    return image;
}
