// The splash logo.
#include "viewport/logo.h"

#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <QPainter>

#include <cstddef>
#include <cstring>

namespace {

#include "viewport/vxplot_logo.xpm"

HL_ConfigureSpec logo_specs[] = {
    {"string", "anchor", "se", static_cast<int>(offsetof(VxLogo, anchor)), HL_SPEC_KEEP, nullptr},
    {"double", "opacity", "1.0", static_cast<int>(offsetof(VxLogo, opacity)), 0, nullptr},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

// The embedded picture of that name; a null pixmap for an unknown name.
QPixmap get_logo(const QString& name)
{
    if (name == QLatin1String(VX_LOGO_NAME))
        return QPixmap(vxplot_logo_xpm);
    return QPixmap();
}

// Where a picture of size extent starts along an axis of length size:
// 10 pixels from the near edge, 10 from the far edge, or centred.
int place(double fraction, int size, int extent)
{
    if (fraction <= 0.0)
        return 10;
    if (fraction >= 1.0)
        return size - extent - 10;
    return (size - extent) / 2;
}

} // namespace

VXLogo::VXLogo(VXViewport* master, QString name) : VXViewportItem(master, nullptr, QStringLiteral("VXLogo"), 1)
{
    item_name = name;
    picture = get_logo(name);
    if (picture.isNull()) {
        hl_register_error(HL_SEVERITY_NORMAL, "get_logo: error.\n");
        throw "Exception";
    }
    setConfigureSpecs(logo_specs, reinterpret_cast<char*>(&vars), "VXLogo", static_cast<VXConfigure*>(this), 1);
}

VXLogo::~VXLogo()
{
    // the record is a member: free its strings while it is still alive
    releaseConfigureStrings();
}

QSize VXLogo::pictureSize() const
{
    return picture.size() / picture.devicePixelRatio();
}

void VXLogo::draw(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!painter || !vp || picture.isNull())
        return;
    double jx = 1.0, jy = 0.0;
    VXViewport::parseAnchor(vars.anchor ? vars.anchor : "se", &jx, &jy);
    const QSize extent = pictureSize();
    const int x = place(jx, vp->width(), extent.width());
    // jy counts from the bottom, pixels from the top
    const int y = place(1.0 - jy, vp->height(), extent.height());
    const double opacity = vars.opacity < 0.0 ? 0.0 : (vars.opacity > 1.0 ? 1.0 : vars.opacity);
    painter->setOpacity(opacity);
    painter->drawPixmap(x, y, picture);
}

int VXLogo::drawViewportItem(QPainter* painter)
{
    draw(painter);
    return 1;
}
