// The splash logo each viewport carries in a corner.
//
// The picture is embedded in the library in XPM form under a name; the
// viewport makes its logo at the first paint that has room for it and keeps
// it on top of every other item.
#pragma once

#include "foundation/configure.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QPixmap>
#include <QString>

class VXViewport;

// Name of the embedded splash picture.
inline constexpr const char* VX_LOGO_NAME = "vxplot_logo";

struct VxLogo
{
    char* anchor = nullptr;  // where the picture sits: "se", "c", "nw", ...
    double opacity = 0.0;    // 0 to 1
};

class VXPLOT_EXPORT VXLogo : public VXViewportItem, public VXConfigure
{
public:
    // A registered item of master showing the embedded picture name.  An
    // unknown name registers "get_logo: error.\n" and throws "Exception".
    // Keys: anchor ("se"), opacity ("1.0").
    VXLogo(VXViewport* master, QString name);
    ~VXLogo() override;

    // Draw the picture at its anchor, 10 pixels from the widget's edges on
    // the anchored sides and centred on the others.
    void draw(QPainter* painter);
    int drawViewportItem(QPainter* painter) override;

    // Size of the picture, in pixels.
    QSize pictureSize() const;

    VxLogo vars;

private:
    QPixmap picture;
};
