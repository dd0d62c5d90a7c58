// VXPolypoint: the default contexts, styling glyphs, labels with
// attributes, drawing and events.
#include "items/polypoint.h"

#include "glyphs/glyph.h"
#include "glyphs/shape.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "viewport/viewport.h"

#include <QPainter>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>

namespace {

// A private copy of every context of from: new items over copied
// parameters, so that setting them in place touches nobody else.
std::shared_ptr<VXGraphicsContext> privateCopy(VXGraphicsContext* from)
{
    auto copy = std::make_shared<VXGraphicsContext>(from);
    for (const VxGraphicsContextItem& item : std::as_const(copy->mapgcitem))
        if (item && item->item)
            item->item = std::make_shared<VxGraphicsContextItemParams>(*item->item);
    return copy;
}

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

// A number of a label attribute; an empty text is 0.  false for other
// text that is not wholly a finite number.
bool attributeNumber(const QString& text, double* value)
{
    const QByteArray t = text.trimmed().toUtf8();
    if (t.isEmpty()) {
        *value = 0.0;
        return true;
    }
    char* end = nullptr;
    const double v = fixed_strtod(t.constData(), &end);
    if (end == t.constData() || *end != '\0' || !std::isfinite(v))
        return false;
    *value = v;
    return true;
}

} // namespace

VXPolypoint::VXPolypoint(VXViewport* master) : VXViewportItem(master, nullptr, QStringLiteral("VXPolypoint"), 1)
{
    // the set is drawn and fed events by this item, not by the viewport
    vars.points = new VXGlyphs(master);
    if (master) {
        master->deregisterItem(vars.points);
        vars.points->noderegister = 1;
    }
    vars.points->setInteractionMode(0);
    vars.points->vars.selection_size_increase_factor = vars.selection_size_increase_factor;
    vars.points->vars.selection_opacity_reduction_factor = vars.selection_opacity_reduction_factor;
    vars.points->setShapeDefault(VX_SYMBOL_SQUARE);
    vars.points->setSizeDefault(vars.size_default);
    vars.points->setLabelAnchorDefault(vars.label_anchor);
    vars.points->setShapeLabelAnchorDefault(vars.shape_label_anchor);

    // the four contexts, in the order their items apply
    vars.color_fill_default = gc.setGcItem(QStringLiteral("default:color_fill"), VX_GC_NO_BRUSH, nullptr, 1);
    vars.color_outline_default = gc.setGcItem(QStringLiteral("default:color_outline"), VX_GC_PEN_COLOR,
                                              QColor(Qt::black), 1);
    vars.linewidth_default = gc.setGcItem(QStringLiteral("default:linewidth"), VX_GC_PEN_WIDTHF, 0.5, 1);
    vars.linestyle_default = gc.setGcItem(QStringLiteral("default:linestyle"), VX_GC_PEN_STYLE, Qt::SolidLine, 1);
    vars.joinstyle_default = gc.setGcItem(QStringLiteral("default:joinstyle"), VX_GC_PEN_JOIN, Qt::MiterJoin, 1);
    vars.capstyle_default = gc.setGcItem(QStringLiteral("default:capstyle"), VX_GC_PEN_CAP,
                                         static_cast<int>(Qt::FlatCap), 1);
    vars.opacity_default = gc.setGcItem(QStringLiteral("default:opacity"), VX_GC_OPACITY, 1.0, 1);
    vars.color_fill_node_default = gc.setGcItem(QStringLiteral("defaultbb:color_fill_node"), VX_GC_NO_BRUSH,
                                                nullptr, 1);
    vars.linewidth_node_default = gc.setGcItem(QStringLiteral("defaultbb:linewidth_node"), VX_GC_PEN_WIDTHF, -1.0, 1);
    vars.color_text_default = gc.setGcItem(QStringLiteral("defaultlabel:color_text"), VX_GC_PEN_COLOR,
                                           QColor(Qt::black), 1);
    // labels read like those of other glyph sets until a font is given
    QFont font(QStringLiteral("Helvetica"));
    font.setPixelSize(12);
    vars.font_default = gc.setGcItem(QStringLiteral("defaultlabel:font"), VX_GC_FONT, font, 1);
    vars.color_fill_text_default = gc.setGcItem(QStringLiteral("defaultlabelbackground:color_fill_text"),
                                                VX_GC_NO_BRUSH, nullptr, 1);
    vars.color_outline_text_default = gc.setGcItem(QStringLiteral("defaultlabelbackground:color_outline_text"),
                                                   VX_GC_NO_PEN, nullptr, 1);
    vars.points->vars.gc_default = gc.mapgc.value(QStringLiteral("default"));
    vars.points->vars.gc_label = gc.mapgc.value(QStringLiteral("defaultlabel"));
    vars.points->vars.gc_label_background = gc.mapgc.value(QStringLiteral("defaultlabelbackground"));
    init();
}

VXPolypoint::~VXPolypoint()
{
    releaseConfigureStrings();
    styles.clear();
    delete vars.points;
    vars.points = nullptr;
    free(vars.vechandle);
}

void VXPolypoint::setVisibility()
{
}

int VXPolypoint::count() const
{
    return vars.points ? vars.points->count() : 0;
}

VXGlyph* VXPolypoint::glyph(int index) const
{
    return vars.points ? vars.points->glyph(index) : nullptr;
}

void VXPolypoint::clearPoints()
{
    styles.clear();
    vars.points->clearGlyphs();
}

void VXPolypoint::setGlyphCallback(VxGlyphCallbackProc callback, HL_ClientData client_data)
{
    if (!callback)
        return;
    vars.glyphCallbacks.append(VxGlyphCallback{callback, client_data});
    vars.points->addGlyphCallback(std::move(callback), client_data);
}

void VXPolypoint::setGlyphsAutoCursor(int auto_cursor)
{
    vars.points->vars.auto_cursor = auto_cursor;
}

void VXPolypoint::applyGlyph(VXGlyph* g)
{
    const VxPolypointStyle st = styles.value(g);
    VXGraphicsContext* from = st.gc ? st.gc.get() : &gc;
    const QList<VxGraphicsContext> gcs{from->mapgc.value(QStringLiteral("default")),
                                       from->mapgc.value(QStringLiteral("defaultbb"))};
    const int symbol = st.symbol >= 0 ? st.symbol : vars.symbol_default;
    // the symbols come from the item's own words, so setGlyph cannot
    // refuse them; a failure would leave the glyph as it was
    if (symbol == VX_POLYPOINT_SYMBOL_VLINE)
        g->setGlyph(VXShape::getVerticalLine(), gcs);
    else if (symbol == VX_POLYPOINT_SYMBOL_HLINE)
        g->setGlyph(VXShape::getHorizontalLine(), gcs);
    else if (symbol == VX_SYMBOL_BEACHBALL)
        g->setGlyph(symbol, gcs, st.tensor);
    else
        g->setGlyph(symbol, gcs);
    g->setLabel(g->vars.label, vars.showlabels);
}

void VXPolypoint::setGlyphs()
{
    VXGlyphs* set = vars.points;
    set->vars.selection_size_increase_factor = vars.selection_size_increase_factor;
    set->vars.selection_opacity_reduction_factor = vars.selection_opacity_reduction_factor;
    set->vars.xgain = vars.xgain;
    set->vars.ygain = vars.ygain;
    set->setXmodeDefault(vars.xmode);
    set->setYmodeDefault(vars.ymode);
    set->setSizeDefault(vars.size_default);
    set->setLabelAnchorDefault(vars.label_anchor);
    set->setShapeLabelAnchorDefault(vars.shape_label_anchor);
    set->setInteractionMode(vars.interaction_mode);
    for (VXGlyph* g : std::as_const(set->vars.glyphs))
        applyGlyph(g);
    set->setGlyphs();
}

int VXPolypoint::addPoints(const QList<VX_XYL>& points)
{
    if (static_cast<long long>(count()) + points.size() > VX_POLYPOINT_MAX_POINTS) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXPolypoint::addPoints: too many points (%lld, at most %d).\n",
                          static_cast<long long>(count()) + points.size(), VX_POLYPOINT_MAX_POINTS);
        return -1;
    }
    const int first = count();
    for (const VX_XYL& p : points) {
        VXGlyph* g = vars.points->addGlyph();
        g->setPosition(p.x, p.y);
        g->setClientData(p.clientData, 0);
        if (parseLabel(p.label, g, 0) < 0) {
            // no point of the batch stays
            while (count() > first) {
                styles.remove(glyph(count() - 1));
                vars.points->removeGlyph(count() - 1);
            }
            hl_register_error(HL_SEVERITY_NORMAL, "VXPolypoint::addPoints: polypoint_parse_label() error.\n");
            return -1;
        }
    }
    return 0;
}

int VXPolypoint::parseLabel(const QString& text, VXGlyph* g, int modify)
{
    QString label;
    QList<std::pair<QString, QString>> attributes;
    polypoint_split_label(text, &label, &attributes);
    VxPolypointStyle st = styles.value(g);
    std::shared_ptr<VXGraphicsContext> candidate;
    bool size_given = false;
    double size = 0.0;
    // item names and types of the colour keys
    struct ColorKey
    {
        const char* key;
        const char* item;
        int type;
    };
    static const ColorKey color_keys[] = {
        {"f", "default:color_fill", VX_GC_BRUSH_COLOR},
        {"n", "defaultbb:color_fill_node", VX_GC_BRUSH_COLOR},
        {"o", "default:color_outline", VX_GC_PEN_COLOR},
        {"l", "defaultlabel:color_text", VX_GC_PEN_COLOR},
        {"ol", "defaultlabelbackground:color_outline_text", VX_GC_PEN_COLOR},
        {"ft", "defaultlabelbackground:color_fill_text", VX_GC_BRUSH_COLOR},
    };
    auto privateGc = [&]() {
        if (!candidate)
            candidate = privateCopy(st.gc ? st.gc.get() : &gc);
        return candidate.get();
    };
    for (const auto& [key, value] : std::as_const(attributes)) {
        const ColorKey* ck = nullptr;
        for (const ColorKey& c : color_keys)
            if (key == QLatin1String(c.key))
                ck = &c;
        if (ck) {
            if (!privateGc()->setGcItem(QString::fromLatin1(ck->item), ck->type, value, 1)) {
                hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_label: bad colour '%s' for '%s'.\n",
                                  value.toUtf8().constData(), ck->key);
                return -1;
            }
        } else if (key == QLatin1String("sz") || key == QLatin1String("lw")) {
            double v = 0.0;
            if (!attributeNumber(value, &v)) {
                hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_label: strtod() error.\n");
                return -1;
            }
            if (key == QLatin1String("sz")) {
                size_given = true;
                size = v;
            } else if (!privateGc()->setGcItem(QStringLiteral("default:linewidth"), VX_GC_PEN_WIDTHF, v, 1)) {
                return -1;
            }
        } else if (key == QLatin1String("sy")) {
            if (value.startsWith(QLatin1String("bb,"))) {
                if (polypoint_parse_bb(value.mid(3), st.tensor) < 0)
                    return -1;
                st.symbol = VX_SYMBOL_BEACHBALL;
            } else {
                const int symbol = polypoint_symbol_number(value);
                if (symbol < 0 || value == QLatin1String("vertical_line") ||
                    value == QLatin1String("horizontal_line")) {
                    hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_label: Unrecognized symbol '%s'.\n",
                                      value.toUtf8().constData());
                    return -1;
                }
                st.symbol = symbol;
            }
        }
        // other keys are passed over
    }
    if (candidate)
        st.gc = candidate;
    if (st.gc || st.symbol >= 0)
        styles.insert(g, st);
    if (size_given)
        g->setSize(size);
    if (!modify)
        g->vars.label = label;
    applyGlyph(g);
    return 0;
}

int VXPolypoint::processEvent(int type, QEvent* event)
{
    VXGlyphs* set = vars.points;
    const int before = set->vars.selection_index;
    const int r = set->processEvent(type, event);
    // the set repaints itself, but the layer it draws into is this item's
    if (r == 2 || set->vars.selection_index != before) {
        setItemStale();
        if (VXViewport* vp = getViewportParent())
            vp->update();
    }
    return r;
}

int VXPolypoint::drawViewportItem(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    VXGlyphs* set = vars.points;
    if (!painter || !vp || !set || set->vars.glyphs.isEmpty())
        return 0;
    int pw = 0, ph = 0;
    double xs, xe, xsc, ys, ye, ysc;
    if (vp->getScales(&pw, &ph, &xs, &xe, &xsc, &ys, &ye, &ysc) < 0)
        return 0;
    painter->save();
    painter->setClipRect(QRectF(vp->vars.mleft, vp->vars.mtop, pw, ph), Qt::IntersectClip);
    painter->setOpacity(1.0);
    painter->setRenderHint(QPainter::Antialiasing, antialias);
    int drawn = 0;
    for (VXGlyph* g : std::as_const(set->vars.glyphs)) {
        if (g->vars.visible_label != vars.showlabels)
            g->setLabel(g->vars.label, vars.showlabels);
        if (g->setTransformations(nullptr) == 0 && !g->vars.skip)
            drawn++;
    }
    // a glyph's label is drawn with the set's label contexts: a point with
    // contexts of its own lends them to the set while it is drawn
    const VxGraphicsContext label = set->vars.gc_label, background = set->vars.gc_label_background;
    auto drawOne = [&](VXGlyph* g, int mode) {
        auto it = styles.constFind(g);
        if (it != styles.constEnd() && it->gc) {
            set->vars.gc_label = it->gc->mapgc.value(QStringLiteral("defaultlabel"));
            set->vars.gc_label_background = it->gc->mapgc.value(QStringLiteral("defaultlabelbackground"));
        }
        if (mode == 0)
            g->draw(painter);
        else if (mode == 1)
            g->drawSelected(painter);
        else
            g->drawUnselected(painter);
        set->vars.gc_label = label;
        set->vars.gc_label_background = background;
    };
    VXGlyph* selected = set->selectedGlyph();
    for (VXGlyph* g : std::as_const(set->vars.glyphs)) {
        if (!selected)
            drawOne(g, 0);
        else if (g != selected)
            drawOne(g, 2);
    }
    if (selected)
        drawOne(selected, 1);
    painter->restore();
    return drawn > 0 ? 1 : 0;
}

// ---------------------------------------------------------------------------
// parsers

int polypoint_parse_point(const char* text, VX_XYL& point, int* index, int want_label)
{
    const char* s = text ? text : "";
    auto skip = [](const char* p) {
        while (*p == ' ' || *p == '\t')
            p++;
        return p;
    };
    auto fieldEnd = [](const char* p) { return *p == '\0' || *p == ' ' || *p == '\t'; };
    s = skip(s);
    if (index) {
        if (*s == '\0') {
            hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_point: Not enough fields.\n");
            return -1;
        }
        char* end = nullptr;
        errno = 0;
        const long v = strtol(s, &end, 10);
        if (end == s || !fieldEnd(end) || errno == ERANGE || v < INT_MIN || v > INT_MAX) {
            hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_point: error parsing index '%s'.\n", s);
            return -1;
        }
        *index = static_cast<int>(v);
        s = skip(end);
    }
    double xy[2];
    for (int k = 0; k < 2; k++) {
        if (*s == '\0') {
            hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_point: Not enough fields.\n");
            return -1;
        }
        char* end = nullptr;
        xy[k] = fixed_strtod(s, &end);
        if (end == s || !fieldEnd(end) || !std::isfinite(xy[k])) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              k == 0 ? "polypoint_parse_point: error parsing x '%s'.\n"
                                     : "polypoint_parse_point: error parsing y '%s'.\n",
                              s);
            return -1;
        }
        s = skip(end);
    }
    if (!want_label && *s != '\0') {
        hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_point: error parsing y '%s'.\n", s);
        return -1;
    }
    point.x = xy[0];
    point.y = xy[1];
    QString label = QString::fromUtf8(s);
    while (!label.isEmpty() && label.back().isSpace())
        label.chop(1);
    point.label = label;
    return 0;
}

void polypoint_split_label(const QString& text, QString* label, QList<std::pair<QString, QString>>* attributes)
{
    attributes->clear();
    qsizetype open = text.indexOf(QLatin1String(" {"));
    qsizetype inner = open + 2;
    if (open < 0) {
        open = text.indexOf(QLatin1Char('{'));
        inner = open + 1;
    }
    const qsizetype close = open < 0 ? -1 : text.indexOf(QLatin1Char('}'), inner);
    if (close < 0) {
        *label = text;
        return;
    }
    *label = text.left(open);
    const QString body = text.mid(inner, close - inner);
    qsizetype i = 0;
    const qsizetype n = body.size();
    while (i < n) {
        while (i < n && isBlank(body.at(i)))
            i++;
        const qsizetype start = i;
        while (i < n && !isBlank(body.at(i)))
            i++;
        if (i == start)
            break;
        const QString token = body.mid(start, i - start);
        const qsizetype eq = token.indexOf(QLatin1Char('='));
        if (eq < 0)
            continue;
        attributes->append({token.left(eq), token.mid(eq + 1)});
    }
}

int polypoint_parse_bb(const QString& text, double* tensor)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 6) {
        hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_bb: need 6 tensor values in '%s'.\n",
                          text.toUtf8().constData());
        return -1;
    }
    double v[6];
    for (int i = 0; i < 6; i++) {
        const QByteArray t = parts.at(i).trimmed().toUtf8();
        char* end = nullptr;
        v[i] = fixed_strtod(t.constData(), &end);
        if (t.isEmpty() || *end != '\0' || !std::isfinite(v[i])) {
            hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_bb: error parsing '%s'.\n", t.constData());
            return -1;
        }
    }
    memcpy(tensor, v, sizeof(v));
    return 0;
}

int polypoint_symbol_number(const QString& word)
{
    static const struct
    {
        const char* word;
        int symbol;
    } words[] = {
        {"point", VX_SYMBOL_POINT},
        {"cross", VX_SYMBOL_CROSS},
        {"x", VX_SYMBOL_X},
        {"triangle", VX_SYMBOL_TRIANGLE},
        {"square", VX_SYMBOL_SQUARE},
        {"circle", VX_SYMBOL_CIRCLE},
        {"star", VX_SYMBOL_STAR},
        {"diamond", VX_SYMBOL_DIAMOND},
        {"vertical_line", VX_POLYPOINT_SYMBOL_VLINE},
        {"horizontal_line", VX_POLYPOINT_SYMBOL_HLINE},
        {"vl", VX_POLYPOINT_SYMBOL_VLINE},
        {"hl", VX_POLYPOINT_SYMBOL_HLINE},
    };
    for (const auto& w : words)
        if (word == QLatin1String(w.word))
            return w.symbol;
    return -1;
}
