// Pixel expressions and anchors.
#include "viewport/pixelexpr.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "viewport/viewport.h"

#include <cmath>
#include <cstring>
#include <string>
#include <string_view>

namespace {

// Longest piece of input quoted in a message.
constexpr int max_quoted = 200;

int quotedLength(size_t length)
{
    return length > static_cast<size_t>(max_quoted) ? max_quoted : static_cast<int>(length);
}

// The whole of text as a number; false when anything is left over or the
// number is not finite.
bool wholeNumber(std::string_view text, double* value)
{
    if (text.empty())
        return false;
    std::string copy(text);
    char* end = nullptr;
    double v = fixed_strtod(copy.c_str(), &end);
    if (end == copy.c_str() || *end != '\0' || !std::isfinite(v))
        return false;
    *value = v;
    return true;
}

struct Axis
{
    int plot = 0;          // plot size along the axis
    int frame_far = 0;     // widget size minus the near margin
    int near_margin = 0;   // left or bottom margin
    double start = 0.0;
    double scale = 1.0;
    int log_mode = 0;
};

int axisOf(const VxViewport* vp, int axis, Axis* a)
{
    int w = 0, h = 0;
    double xstart = 0.0, xend = 1.0, xscale = 1.0, ystart = 0.0, yend = 1.0, yscale = 1.0;
    if (VXViewport::getScales(vp, &w, &h, &xstart, &xend, &xscale, &ystart, &yend, &yscale) < 0)
        return -1;
    if (axis == 0) {
        *a = {w, vp->w - vp->mleft, vp->mleft, xstart, xscale, vp->xmode == VX_SCALE_LOG};
    } else {
        *a = {h, vp->h - vp->mbottom, vp->mbottom, ystart, yscale, vp->ymode == VX_SCALE_LOG};
    }
    return 0;
}

int termOnAxis(const VxViewport* vp, const Axis& a, int axis, std::string_view term, const VX_PixelBox* relative,
               double* pixels)
{
    const char* proc = axis == 0 ? "VXViewport::getXPixel" : "VXViewport::getYPixel";
    static const char* const far_word[] = {"right", "top"};
    static const char* const frame_far_word[] = {"fright", "ftop"};
    static const char* const near_word[] = {"left", "bottom"};
    static const char* const frame_near_word[] = {"fleft", "fbottom"};
    (void)vp;
    if (term == far_word[axis]) {
        *pixels += a.plot;
        return 0;
    }
    if (term == frame_far_word[axis]) {
        *pixels += a.frame_far;
        return 0;
    }
    if (term == near_word[axis])
        return 0;
    if (term == frame_near_word[axis]) {
        *pixels -= a.near_margin;
        return 0;
    }
    const char last = term.empty() ? '\0' : term.back();
    if (last == 'd' || last == 'v' || last == 'r') {
        double number = 0.0;
        if (!wholeNumber(term.substr(0, term.size() - 1), &number)) {
            hl_register_error(0, "%s: Cannot recognize %.*s\n", proc, quotedLength(term.size()), term.data());
            return -1;
        }
        if (last == 'd') {
            if (a.log_mode) {
                if (number <= 0.0) {
                    hl_register_error(0, "%s: Cannot take the logarithm of %.*s\n", proc, quotedLength(term.size()),
                                      term.data());
                    return -1;
                }
                number = std::log10(number);
            }
            *pixels += (number - a.start) * a.scale * a.plot;
        } else if (last == 'v') {
            *pixels += number * a.plot;
        } else if (relative) {
            *pixels = axis == 0 ? relative->x + number * relative->w : relative->y + number * relative->h;
        }
        return 0;
    }
    int count = 0;
    if (VX_PixelCount(term.data(), term.size(), &count) < 0) {
        hl_register_error(0, "%s: Unable to evaluate '%.*s'.\n", proc, quotedLength(term.size()), term.data());
        return -1;
    }
    *pixels += count;
    return 0;
}

} // namespace

int VX_PixelCount(const char* text, size_t length, int* pixels)
{
    *pixels = 0;
    if (!text || length == 0)
        return 0;
    const char last = text[length - 1];
    if (last == 'c' || last == 'i' || last == 'm' || last == 'p') {
        hl_register_error(0, "VXViewport::getPixels: %.*s not implemented\n", quotedLength(length), text);
        return -1;
    }
    double v = 0.0;
    if (!wholeNumber(std::string_view(text, length), &v)) {
        hl_register_error(0, "VXViewport::getPixels: Cannot recognize %.*s\n", quotedLength(length), text);
        return -1;
    }
    // read at float precision, as a pixel count needs no more
    v = static_cast<float>(v);
    v = v < 0.0 ? std::ceil(v - 0.5) : std::floor(v + 0.5);
    if (v > 1.0e9)
        v = 1.0e9;
    if (v < -1.0e9)
        v = -1.0e9;
    *pixels = static_cast<int>(v);
    return 0;
}

int VX_PixelTerm(const VxViewport* vp, int axis, const char* term, size_t length, const VX_PixelBox* relative,
                 double* pixels)
{
    Axis a;
    if (axis != 0 && axis != 1)
        return -1;
    if (axisOf(vp, axis, &a) < 0)
        return -1;
    return termOnAxis(vp, a, axis, std::string_view(term ? term : "", term ? length : 0), relative, pixels);
}

int VX_PixelExpression(const VxViewport* vp, int axis, const char* text, size_t length, const VX_PixelBox* relative,
                       double* pixels)
{
    *pixels = 0.0;
    Axis a;
    if (axis != 0 && axis != 1)
        return -1;
    if (axisOf(vp, axis, &a) < 0)
        return -1;
    if (!text)
        length = 0;
    std::string term;
    auto evaluate = [&]() {
        if (termOnAxis(vp, a, axis, term, relative, pixels) < 0) {
            hl_register_error(0, "VXViewport::getPixels: Unable to evaluate '%.*s'.\n", quotedLength(length), text);
            return -1;
        }
        return 0;
    };
    for (size_t i = 0; i < length; i++) {
        const char c = text[i];
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
            continue;
        if (c == '+' || c == '-') {
            if (evaluate() < 0)
                return -1;
            term.assign(1, c);
            continue;
        }
        term.push_back(c);
    }
    return evaluate();
}

void VX_AnchorFractions(const char* anchor, double* jx, double* jy)
{
    double x = 0.0, y = 0.0;
    const char first = anchor ? anchor[0] : '\0';
    const char second = first ? anchor[1] : '\0';
    switch (first) {
    case 'c':
        x = 0.5;
        y = 0.5;
        break;
    case 'e':
        x = 1.0;
        y = 0.5;
        break;
    case 'w':
        x = 0.0;
        y = 0.5;
        break;
    case 'n':
        x = second == 'e' ? 1.0 : (second == 'w' ? 0.0 : 0.5);
        y = 1.0;
        break;
    case 's':
        x = second == 'e' ? 1.0 : (second == 'w' ? 0.0 : 0.5);
        y = 0.0;
        break;
    default:
        break;
    }
    if (jx)
        *jx = x;
    if (jy)
        *jy = y;
}

const char* VX_AnchorName(int anchor)
{
    static const char* const names[] = {"sw", "s", "se", "e", "c", "ne", "n", "nw", "w"};
    return anchor >= 0 && anchor <= 8 ? names[anchor] : "c";
}

// --- the viewport's own forms ---

namespace {

// The box of the relative item, when it has one.
bool relativeBox(void* relative, VX_PixelBox* box)
{
    if (!relative)
        return false;
    VXViewportItem* item = static_cast<VXViewportItem*>(relative);
    return item->getRelativeBox(&box->x, &box->y, &box->w, &box->h) == 0;
}

} // namespace

int VXViewport::getPixels(const char* xstr, const char* ystr, double* xpixels, double* ypixels, void* relative)
{
    *xpixels = 0.0;
    *ypixels = 0.0;
    VX_PixelBox box;
    const VX_PixelBox* rel = relativeBox(relative, &box) ? &box : nullptr;
    int rx = VX_PixelExpression(&vars, 0, xstr, xstr ? strlen(xstr) : 0, rel, xpixels);
    int ry = VX_PixelExpression(&vars, 1, ystr, ystr ? strlen(ystr) : 0, rel, ypixels);
    return rx < 0 || ry < 0 ? -1 : 0;
}

int VXViewport::getPixels(const char* str, int* pixels)
{
    return VX_PixelCount(str, str ? strlen(str) : 0, pixels);
}

int VXViewport::getXPixel(const char* xstr, double* xpixels, void* relative)
{
    VX_PixelBox box;
    const VX_PixelBox* rel = relativeBox(relative, &box) ? &box : nullptr;
    return VX_PixelTerm(&vars, 0, xstr, xstr ? strlen(xstr) : 0, rel, xpixels);
}

int VXViewport::getYPixel(const char* ystr, double* ypixels, void* relative)
{
    VX_PixelBox box;
    const VX_PixelBox* rel = relativeBox(relative, &box) ? &box : nullptr;
    return VX_PixelTerm(&vars, 1, ystr, ystr ? strlen(ystr) : 0, rel, ypixels);
}

void VXViewport::parseAnchor(const char* anchor, double* jx, double* jy)
{
    VX_AnchorFractions(anchor, jx, jy);
}

void VXViewport::parseAnchor(int anchor, double* jx, double* jy)
{
    VX_AnchorFractions(VX_AnchorName(anchor), jx, jy);
}
