// The simple grid input of vxmapdata: a few text lines, then raw pixels.
//
//     VXGRID 1
//     content int16            (or: rgb)
//     nlon 3600
//     nlat 1800
//     lon_start -179.95        centre of the first pixel
//     dlon 0.1
//     lat_start 89.95
//     dlat -0.1                rows may run south (negative step)
//     data
//     <nlon*nlat pixels, row by row from lat_start: int16 little-endian,
//      or three bytes red, green, blue>
//
// Lines end in "\n"; the pixels follow the line "data" directly and fill
// the rest of the file exactly.
#pragma once

#include <QByteArray>
#include <QString>

struct VxGridInput
{
    long content = 1;   // 1 int16, 3 rgb
    long nlon = 0, nlat = 0;
    double lon_start = 0.0, dlon = 0.0, lat_start = 0.0, dlat = 0.0;
    const unsigned char* pixels = nullptr;  // inside the bytes parsed
};

// Parse bytes (kept alive by the caller).  0; negative with *error naming
// source and the line.
int vxmapdata_parse_grid(const QByteArray& bytes, const QString& source, VxGridInput* grid, QString* error);
