// Glyph styles: the item and style definitions (the event map's defaults
// load as they are), codings of size, fill colour and opacity through
// glyphs, changes of styles, the coding callback, sharing of definitions
// between glyphs, and bad definitions with their messages.
#include "support/testsupport.h"
#include "support/vptest.h"

#include "glyphs/glyph.h"
#include "glyphs/glyphs.h"
#include "glyphs/glyphsgc.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {


// The item definitions of the event map, as it configures them.
const char* const event_items =
    "glyphs_gcitem_definitions &Arr{\n"
    "\tsymbol:events\t\t\tcircle\n"
    "\tsymbol:events_bb\t\t\tbeachball\n"
    "\tsymbol:origins\t\t\tcircle\n"
    "\tsymbol:origins_bb\t\tbeachball\n"
    "\tsymbol:arrivals\t\t\ttriangle\n"
    "\tsymbol:events_detections\t\t\ttriangle\n"
    "\tsize:constant\t\t\tconstant\t20\n"
    "\tsize:events\t\t\tconstant\t10\n"
    "\tsize:events_bb\t\t\tconstant\t20\n"
    "\tsize:origins\t\t\tconstant\t20\n"
    "\tsize:origins_pref\t\tconstant\t30\n"
    "\tsize:arrivals\t\t\tconstant\t10\n"
    "\tsize:event_origins\t\tconstant\t30\n"
    "\tsize:events_detections\t\tage\t0.0,25.0:1800.0,12.0:12.0:25.0\n"
    "\tsize:magnitude\t\t\tmagnitude\t4.0,10:7.0,50:10:100\n"
    "\tsize:arrivals_detections\tresidual\t5.0,20:5.01,15:15:20\n"
    "\tfill_color:constant\t\tconstant\t\\#a0a0a0\n"
    "\tfill_color:constant2\t\tconstant\t\\#d0d0d0\n"
    "\tfill_color:depth\t\tdepth\t\t0.0,240.0:650.0,0.0;1.0;0.8\n"
    "\tfill_color:depthbb\t\tdepth\t\t0.0,240.0:650.0,0.0;1.0;0.8\n"
    "\tfill_color:depthbbnode\t\tdepth\t\t0.0,240.0:650.0,0.0;1.0;0.7\n"
    "\tfill_color:arrivals_def\t\tconstant\tmagenta\n"
    "\tfill_color:arrivals_ndef\tconstant\torange\n"
    "\tfill_color:arrivals_detections\tconstant\tcyan\n"
    "\tfill_color:arrivals_detections_late constant\tyellow\n"
    "\tfill_color:events_detections\tconstant\tmagenta\n"
    "\toutline_color:events\t\tconstant\t\\#80000000\n"
    "\toutline_color:events_selected\tconstant\tred\n"
    "\toutline_color:origins_pref\tconstant\tred\n"
    "\toutline_linewidth:0\t\tconstant\t0.5\n"
    "\toutline_linewidth:3\t\tconstant\t3.0\n"
    "\toutline_linewidth:none\t\tconstant\t-1.0\n"
    "\topacity:1\t\t\tconstant\t1.0\n"
    "\topacity:age1y\t\t\tage\t\t0.0,1.0:31536000.0,0.0:0.0:1.0\n"
    "\topacity:age1m\t\t\tage\t\t0.0,1.0:2592000.0,0.0:0.0:1.0\n"
    "\topacity:age1w\t\t\tage\t\t0.0,1.0:604800.0,0.0:0.0:1.0\n"
    "\topacity:age1d\t\t\tage\t\t0.0,1.0:86400.0,0.0:0.0:1.0\n"
    "\topacity:age1h\t\t\tage\t\t0.0,1.0:3600.0,0.0:0.0:1.0\n"
    "\topacity:arrivals_detections\tresidual\t5.0,1:10.0,0.4:0.4:1\n\topacity:events_detections\tage\t0.0,1:3600.0,0.0:0.0:1\n}\n";

// Its styles: per style the symbol, size, fill colour, outline width,
// outline colour and opacity, then the items of a second path.
const char* const event_styles[] = {
    "events symbol:events size:events fill_color:depth outline_linewidth:0 outline_color:events opacity:age1y",
    "events_bb symbol:events_bb size:events_bb fill_color:depthbb outline_linewidth:0 outline_color:events opacity:age1y fill_color:depthbbnode outline_linewidth:0",
    "events_selected symbol:events size:events fill_color:depth outline_linewidth:3 outline_color:events_selected opacity:age1y",
    "events_selected_bb symbol:events_bb size:events_bb fill_color:depthbb outline_linewidth:3 outline_color:events_selected opacity:age1y fill_color:depthbbnode outline_linewidth:0",
    "events_detections symbol:events_detections size:events_detections fill_color:events_detections outline_linewidth:0 outline_color:events opacity:events_detections",
    "origins symbol:origins size:origins fill_color:depth outline_linewidth:0 outline_color:events opacity:1",
    "origins_pref symbol:origins size:origins_pref fill_color:depth outline_linewidth:3 outline_color:origins_pref opacity:1",
    "origins_bb symbol:origins_bb size:origins fill_color:depth outline_linewidth:0 outline_color:events opacity:1 fill_color:depthbbnode",
    "origins_pref_bb symbol:origins_bb size:origins_pref fill_color:depth outline_linewidth:3 outline_color:events opacity:1 fill_color:depthbbnode outline_linewidth:0",
    "arrivals_def symbol:arrivals size:arrivals fill_color:arrivals_def outline_linewidth:none outline_color:events opacity:1",
    "arrivals_ndef symbol:arrivals size:arrivals fill_color:arrivals_ndef outline_linewidth:none outline_color:events opacity:1",
    "arrivals_detections symbol:arrivals size:arrivals_detections fill_color:arrivals_detections outline_linewidth:0 outline_color:events opacity:arrivals_detections",
    "arrivals_detections_late symbol:arrivals size:arrivals_detections fill_color:arrivals_detections_late outline_linewidth:0 outline_color:events opacity:arrivals_detections",
};

// The styles as a definitions text: one item a line in a block per style.
std::string styleText()
{
    std::string text = "glyphs_gc_definitions &Arr{\n";
    for (const char* row : event_styles) {
        std::string r = row;
        const size_t space = r.find(' ');
        text += "\t" + r.substr(0, space) + " &Tbl{\n";
        for (size_t at = space; at != std::string::npos;) {
            const size_t next = r.find(' ', at + 1);
            text += "\t\t" + r.substr(at + 1, next - at - 1) + "\n";
            at = next;
        }
        text += "\t}\n";
    }
    return text + "}\n";
}

std::unique_ptr<VXGlyphsGraphicsContext> loadedDefaults()
{
    auto ggc = std::make_unique<VXGlyphsGraphicsContext>();
    EXPECT_EQ(ggc->configure("gcitem_definitions", event_items, nullptr), 0) << takeErrors();
    EXPECT_EQ(ggc->configure("gc_definitions", styleText().c_str(), nullptr), 0) << takeErrors();
    return ggc;
}

// A set without viewport, for glyphs whose values are read, not drawn.
struct Styled
{
    std::unique_ptr<VXGlyphsGraphicsContext> ggc = loadedDefaults();
    std::unique_ptr<VXGlyphs> set = std::make_unique<VXGlyphs>(nullptr);
    Styled() { set->setGraphicsContext(ggc.get()); }
    ~Styled() { set.reset(); }

    VXGlyph* make(const char* style)
    {
        VXGlyph* g = set->addGlyph();
        EXPECT_EQ(g->setGlyph(style), 0) << takeErrors();
        return g;
    }
};

// The value of an item as type T.
template <typename T = double>
T valueOf(const VxGraphicsContextItem& item)
{
    T v = T(-12345);
    EXPECT_EQ(VXGraphicsContext::getValue(item, &v), 0) << takeErrors();
    return v;
}

QColor colour(VXGlyph* g, int gc, int i)
{
    void* v = nullptr;
    EXPECT_EQ(VXGraphicsContext::getValue(g->getGraphicsContextItem(gc, i), &v), 0) << takeErrors();
    return v ? *static_cast<QColor*>(v) : QColor();
}

} // namespace

TEST(GlyphDefinitions, EventMapDefaultsLoadAndRedefinitionsReplaceInPlace)
{
    auto ggc = loadedDefaults();
    EXPECT_EQ(ggc->gcitem_definitions.size(), 40);
    EXPECT_EQ(ggc->gc_definitions_list.size(), 13);
    EXPECT_EQ(std::string(hl_errlog_string(0)), "");
    for (const char* name : {"events", "events_bb", "events_selected", "events_selected_bb", "events_detections",
                             "origins", "origins_pref", "origins_bb", "origins_pref_bb", "arrivals_def",
                             "arrivals_ndef", "arrivals_detections", "arrivals_detections_late"}) {
        SCOPED_TRACE(name);
        const int index = ggc->getGcIndex(name);
        ASSERT_GE(index, 0);
        EXPECT_EQ(ggc->gc_definitions_list[index].name, QString(name));
        EXPECT_TRUE(ggc->gc_definitions.contains(name));
    }
    EXPECT_EQ(ggc->getGcIndex("nothing"), -1);
    const VxGlyphsDefinition& events = ggc->gc_definitions_list[ggc->getGcIndex("events")];
    ASSERT_EQ(events.glyph_gcs.size(), 1);
    EXPECT_EQ(events.glyph_gcs[0]->size(), 4);  // fill, width, outline, opacity
    EXPECT_EQ(events.coding_defs.size(), 2);
    EXPECT_GE(ggc->getCodingIndex(ggc->getGcIndex("events"), "depth"), 0);
    EXPECT_GE(ggc->getCodingIndex(ggc->getGcIndex("events"), "age"), 0);
    EXPECT_EQ(ggc->getCodingIndex(ggc->getGcIndex("events"), "magnitude"), -1);
    // two paths; the shorter lists lend their last item to the second
    const VxGlyphsDefinition& bb = ggc->gc_definitions_list[ggc->getGcIndex("events_bb")];
    ASSERT_EQ(bb.glyph_gcs.size(), 2);
    EXPECT_EQ(bb.glyph_gcs[1]->size(), 4);
    EXPECT_EQ(bb.glyph_gcs[1]->at(0)->item->name, QString("fill_color:depthbbnode"));
    EXPECT_EQ(bb.glyph_gcs[1]->at(2)->item->name, QString("outline_color:events"));
    EXPECT_EQ(bb.coding_slots[bb.coding_defs["depth"]].size(), 2);
    for (const char* coding : {"depth", "age", "residual"})
        EXPECT_TRUE(ggc->coding_names.contains(coding)) << coding;
    // the "none" width
    EXPECT_EQ(valueOf(ggc->gcitem_definitions["outline_linewidth:none"].gcitem), -1.0);
    EXPECT_EQ(valueOf<int>(ggc->gcitem_definitions["symbol:events_bb"].gcitem), VX_SYMBOL_BEACHBALL);
    // a redefinition replaces in place
    ASSERT_EQ(ggc->configure("gcitem_definition", "size:events constant 14", nullptr), 0) << takeErrors();
    EXPECT_EQ(valueOf(ggc->gcitem_definitions["size:events"].gcitem), 14.0);
    EXPECT_EQ(ggc->gcitem_definitions.size(), 40);
    // styles already set up keep what they were made of until set up again
    EXPECT_EQ(valueOf(ggc->gc_definitions_list[ggc->getGcIndex("events")].glyph_size), 10.0);
    ASSERT_EQ(ggc->changeGcDefinitions("events=size:events"), 0);
    EXPECT_EQ(valueOf(ggc->gc_definitions_list[ggc->getGcIndex("events")].glyph_size), 14.0);
}

TEST(GlyphDefinitions, PrintedTextLoadsBack)
{
    auto ggc = loadedDefaults();
    char* items = ggc->getConfigureValue("gcitem_definitions");
    char* styles = ggc->getConfigureValue("gc_definitions");
    ASSERT_NE(items, nullptr);
    ASSERT_NE(styles, nullptr);
    VXGlyphsGraphicsContext again;
    EXPECT_EQ(again.configure("gcitem_definitions", items, "gc_definitions", styles, nullptr), 0) << takeErrors();
    EXPECT_EQ(again.gcitem_definitions.keys().size(), ggc->gcitem_definitions.size());
    EXPECT_EQ(again.gcDefinitionsText(), ggc->gcDefinitionsText());
    EXPECT_EQ(again.gcItemDefinitionsText(), ggc->gcItemDefinitionsText());
    free(items);
    free(styles);
}

TEST(GlyphCoding, SizeByMagnitude)
{
    Styled s;
    ASSERT_EQ(s.ggc->configure("change_gc_definitions", "events=size:magnitude", nullptr), 0) << takeErrors();
    VXGlyph* g = s.make("events");
    // no magnitude yet: the set's default
    EXPECT_EQ(g->getSize(), 0.0);
    struct Case { const char* name; double magnitude; double pixels; } cases[] = {
        {"first point", 4.0, 10.0}, {"second point", 7.0, 50.0},   {"between", 5.5, 30.0},
        {"below, held at 10", 3.0, 10.0}, {"above, on the line", 9.25, 80.0}, {"far above, held at 100", 12.0, 100.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(g->setCodingValue("magnitude", c.magnitude), 0) << takeErrors();
        EXPECT_NEAR(g->getSize(), c.pixels, 1e-4);
        EXPECT_NEAR(g->getCodingValue("magnitude"), c.magnitude, 1e-5);
    }
}

TEST(GlyphCoding, FillColourByDepthOpacityByAge)
{
    Styled s;
    VXGlyph* g = s.make("events");
    struct Case { const char* name; double depth; int hue; } cases[] = {
        {"surface", 0.0, 240}, {"bottom of the range", 650.0, 0}, {"middle", 325.0, 120},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(g->setCodingValue("depth", c.depth), 0);
        const QColor got = colour(g, 0, 0);
        EXPECT_EQ(got.hslHue(), c.hue);
        EXPECT_NEAR(got.hslSaturationF(), 1.0, 0.01);
        EXPECT_NEAR(got.lightnessF(), 0.8, 0.01);
    }
    // beyond the range the line goes on: a negative hue
    const VxGraphicsContextItem fill = g->getGraphicsContextItem(0, 0);
    EXPECT_NEAR(vxgraphicscontext_apply_coding(fill->item->coding[0], 700.0), -240.0 * 50.0 / 650.0, 1e-9);
    // the same colours as the pen and brush the glyph paints with
    g->setCodingValue("depth", 0.0);
    QPen pen;
    QBrush brush;
    VXGraphicsContext::makeGcPenBrush(g->vars.gcs[0], &pen, &brush);
    EXPECT_EQ(brush.color().hslHue(), 240);
    EXPECT_EQ(pen.color(), QColor::fromRgba(0x80000000));
    EXPECT_DOUBLE_EQ(pen.widthF(), 0.5);
    // opacity by age
    const double year = 31536000.0;
    struct AgeCase { const char* name; const char* style; double age; double opacity; } ages[] = {
        {"new", "events", 0.0, 1.0}, {"half a year", "events", 0.5 * year, 0.5}, {"a year", "events", year, 0.0},
        {"older stays at 0", "events", 3 * year, 0.0}, {"younger than 0 stays at 1", "events", -year, 1.0},
        {"constant opacity ignores age", "origins", 0.5 * year, 1.0},
    };
    for (const AgeCase& c : ages) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(g->setGlyph(c.style), 0);
        g->setCodingValue("age", c.age);  // absent for "origins"
        takeErrors();
        EXPECT_NEAR(valueOf(g->getGraphicsContextItem(0, 3)), c.opacity, 1e-6);
    }
}

TEST(GlyphCoding, ThousandsOfGlyphsShareOneDefinition)
{
    Styled s;
    const int n = 5000;
    for (int i = 0; i < n; i++) {
        VXGlyph* g = s.make("events");
        g->setCodingValue("depth", i % 650);
        g->setCodingValue("age", i);
    }
    const VxGlyphsDefinition& def = s.ggc->gc_definitions_list[s.ggc->getGcIndex("events")];
    const VxGraphicsContextItem& style_fill = def.glyph_gcs[0]->at(0);
    const VxGraphicsContextItem& style_outline = def.glyph_gcs[0]->at(2);
    VXGlyph* first = s.set->glyph(0);
    VXGlyph* last = s.set->glyph(n - 1);
    // coded items: own records, one shared parameter record
    EXPECT_NE(first->getGraphicsContextItem(0, 0), last->getGraphicsContextItem(0, 0));
    EXPECT_EQ(first->getGraphicsContextItem(0, 0)->item, style_fill->item);
    EXPECT_EQ(last->getGraphicsContextItem(0, 0)->item, style_fill->item);
    EXPECT_GE(style_fill->item.use_count(), n);
    EXPECT_LE(style_fill->item.use_count(), n + 4);
    // constant items: the style's very records
    EXPECT_EQ(last->getGraphicsContextItem(0, 2), style_outline);
    // each glyph keeps its own input
    EXPECT_EQ(first->getCodingValue("depth"), 0.0);
    EXPECT_EQ(s.set->glyph(649)->getCodingValue("depth"), 649.0);
    EXPECT_EQ(style_fill->coding_input, VX_GC_NO_INPUT);
    EXPECT_NE(colour(first, 0, 0), colour(s.set->glyph(325), 0, 0));
}

TEST(GlyphCoding, CallbackFillsWhatGlyphsLack)
{
    Styled s;
    std::vector<std::string> asked;
    s.ggc->setCodingCallback(
        [&asked](VXGlyph* g, QString style, QString coding, double* value, void* data) {
            asked.push_back(style.toStdString() + ":" + coding.toStdString());
            EXPECT_EQ(data, reinterpret_cast<void*>(0x42));
            if (coding == "depth") {
                *value = 100.0 * g->getIndex();
                return 0;
            }
            return -1;
        },
        reinterpret_cast<void*>(0x42));
    VXGlyph* a = s.make("events");
    VXGlyph* b = s.make("events");
    b->setCodingValue("depth", 5.0);
    s.set->updateCoding();
    EXPECT_EQ(a->getCodingValue("depth"), 0.0);
    EXPECT_EQ(b->getCodingValue("depth"), 5.0);
    EXPECT_EQ(a->getCodingValue("age"), VX_NULL_VALUE);
    // a was asked for both, b for its age only
    const std::vector<std::string> expected = {"events:depth", "events:age", "events:age"};
    EXPECT_EQ(asked, expected);
}

TEST(GlyphCoding, ChangedStyleReachesNewGlyphsAndOldOnesAtUpdate)
{
    Styled s;
    VXGlyph* old = s.make("events");
    old->setCodingValue("depth", 650.0);
    old->setCodingValue("age", 1000.0);
    ASSERT_EQ(s.ggc->configure("change_gc_definitions", "events=fill_color:constant,size:magnitude", nullptr), 0)
        << takeErrors();
    VXGlyph* made_after = s.make("events");
    EXPECT_EQ(colour(made_after, 0, 0), QColor("#a0a0a0"));
    EXPECT_EQ(made_after->getSize(), 0.0);
    made_after->setCodingValue("magnitude", 7.0);
    EXPECT_DOUBLE_EQ(made_after->getSize(), 50.0);
    // the old glyph keeps its depth colour until its next update, and its
    // inputs can still be changed
    EXPECT_EQ(colour(old, 0, 0).hslHue(), 0);
    ASSERT_EQ(old->setCodingValue("depth", 0.0), 0);
    EXPECT_EQ(colour(old, 0, 0).hslHue(), 240);
    s.set->updateCoding();
    EXPECT_EQ(colour(old, 0, 0), QColor("#a0a0a0"));
    // its inputs came along
    EXPECT_EQ(old->getCodingValue("age"), 1000.0);
    EXPECT_EQ(old->getCodingValue("depth"), VX_NULL_VALUE);
    old->setCodingValue("magnitude", 4.0);
    EXPECT_DOUBLE_EQ(old->getSize(), 10.0);
    // the second fill colour of a two-path style
    ASSERT_EQ(s.ggc->changeGcDefinitions("events_bb=fill_color:constant,fill_color:constant2"), 0) << takeErrors();
    const VxGlyphsDefinition& bb = s.ggc->gc_definitions_list[s.ggc->getGcIndex("events_bb")];
    EXPECT_EQ(bb.glyph_gcs[0]->at(0)->item->name, QString("fill_color:constant"));
    EXPECT_EQ(bb.glyph_gcs[1]->at(0)->item->name, QString("fill_color:constant2"));
}

TEST(GlyphCoding, StyleWithoutSizeTakesTheSetDefault)
{
    Styled s;
    ASSERT_EQ(s.ggc->setGcDefinitions("plain &Tbl{\n symbol:events\n fill_color:constant\n}\n"), 0) << takeErrors();
    VXGlyph* g = s.make("plain");
    EXPECT_EQ(g->getSize(), 0.0);
    EXPECT_EQ(g->vars.size, nullptr);
    // drawn at the default size
    auto vp = vptest::makeViewport(100, 100, {"xleft", "0", "xright", "10", "ybottom", "0", "ytop", "10"});
    VXGlyphs set(vp.get());
    set.setGraphicsContext(s.ggc.get());
    set.setSizeDefault(16);
    set.setAntialias(false);
    VXGlyph* drawn = set.addGlyph();
    ASSERT_EQ(drawn->setGlyph("plain"), 0);
    drawn->setPosition(5, 5);
    const QRect box = vptest::inkBox(vptest::render(vp.get()));
    EXPECT_NEAR(box.width(), 16, 1);
    EXPECT_EQ(vptest::render(vp.get()).pixelColor(50, 50), QColor("#a0a0a0"));
}

TEST(GlyphDefinitionErrors, MessagesAndEarlierDefinitionsIntact)
{
    // key: configuration key; message: a line the register must hold
    struct Case { const char* name; const char* key; const char* value; const char* message; } cases[] = {
        {"missing colon", "gcitem_definition", "sizeevents constant 10", "glyphsgraphicscontext_parse_gcitem_definition: key value sizeevents needs a : character.\n"},
        {"control character", "gcitem_definition", "fill_color:x con\x01stant red", "glyphsgraphicscontext_parse_gcitem_definition: control character in 'fill_color:x con\x01stant red'.\n"},
        {"hash in the coding", "gcitem_definition", "size:x consta#nt 30", "glyphsgraphicscontext_parse_gcitem_definition: '#' in a name of 'size:x consta#nt 30'.\n"},
        {"unknown kind", "gcitem_definition", "colour:x constant red", "glyphsgraphicscontext_parse_gcitem_definition: Unrecognized gc type colour.\n"},
        {"unknown shape", "gcitem_definition", "symbol:x hexagon", "glyphsgraphicscontext_parse_gcitem_definition: Unrecognized symbol type hexagon for symbol:x.\n"},
        {"bad coding point", "gcitem_definition", "size:m magnitude 4.0,10:7.0", "glyphsgraphicscontext_parse_gcitem_definition: Cannot parse definition '4.0,10:7.0' for size:m.\n"},
        {"bad coding count", "gcitem_definition", "size:m magnitude 1,2:3,4:5", "glyphsgraphicscontext_parse_gcitem_definition: Cannot parse definition '1,2:3,4:5' for size:m.\n"},
        {"two colour codings", "gcitem_definition", "fill_color:d depth 0,240:650,0;1.0", "VXGraphicsContext::setGcItem: parse error for '0,240:650,0;1.0' - only 0 or 2 ';' characters allowed.\n"},
        {"bad number", "gcitem_definition", "opacity:x constant abc", "glyphsgraphicscontext_parse_gcitem_definition: Cannot parse definition 'abc' for opacity:x.\n"},
        {"bad colour", "gcitem_definition", "outline_color:x constant notacolour", "glyphsgraphicscontext_parse_gcitem_definition: Cannot parse definition 'notacolour' for outline_color:x.\n"},
        {"no value", "gcitem_definition", "size:x constant", "glyphsgraphicscontext_parse_gcitem_definition: sscanf(size:x constant) error - no values.\n"},
        {"key alone", "gcitem_definition", "size:x", "glyphsgraphicscontext_parse_gcitem_definition: sscanf(size:x) error - no values.\n"},
        {"empty", "gcitem_definition", "  ", "glyphsgraphicscontext_parse_gcitem_definition: sscanf(  ) error.\n"},
        {"a bad line among good ones", "gcitem_definitions", "gcitem_definitions &Arr{\n size:new constant 5\n sizenew constant 6\n}\n", "glyphsgraphicscontext_parse_gcitem_definition: key value sizenew needs a : character.\n"},
        {"a block among definitions", "gcitem_definitions", "size:new constant 5\nsub &Arr{\n}\n", "glyphsgraphicscontext_parse_gcitem_definitions: kvparam(sub) error.\n"},
        {"unclosed block", "gcitem_definitions", "defs &Arr{\n size:new constant 5\n", "glyphsgraphicscontext_parse_gcitem_definitions: VX_kvcompile("},
        {"unknown item in a style", "gc_definitions", "new &Tbl{\n symbol:events\n size:nothing\n}\n", "glyphsgraphicscontext_parse_gc_definitions: Cannot parse 'size:nothing'.\n"},
        {"two names in a row", "gc_definitions", "new &Tbl{\n symbol:events size:events\n}\n", "glyphsgraphicscontext_parse_gc_definitions: Cannot parse 'symbol:events size:events' - require only one field.\n"},
        {"a style that is not a list", "gc_definitions", "new symbol:events\n", "glyphsgraphicscontext_parse_gc_definitions: kvparam(new) error.\n"},
        {"styles that are not a block", "gc_definitions", "glyphs_gc_definitions events\n", "glyphsgraphicscontext_parse_gc_definitions: kvparam(glyphs_gc_definitions) error.\n"},
        {"unclosed style", "gc_definitions", "new &Tbl{\n symbol:events\n", "glyphsgraphicscontext_parse_gc_definitions: VX_kvcompile("},
        {"change without =", "change_gc_definitions", "events", "glyphsgraphicscontext_parse_change_gc_definitions: Need exactly one '=' character in events.\n"},
        {"change with two =", "change_gc_definitions", "events=size:events=x", "glyphsgraphicscontext_parse_change_gc_definitions: Need exactly one '=' character in events=size:events=x.\n"},
        {"change of an unknown style", "change_gc_definitions", "nostyle=size:events", "glyphsgraphicscontext_parse_change_gc_definitions: Cannot find 'nostyle' definition.\n"},
        {"change to an unknown item", "change_gc_definitions", "events=size:magnitude events=size:nothing", "glyphsgraphicscontext_parse_change_gc_definitions: Cannot find 'size:nothing' gc item definition.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto ggc = loadedDefaults();
        const QString items_before = ggc->gcItemDefinitionsText();
        const QString styles_before = ggc->gcDefinitionsText();
        const double fill_before = ggc->gcitem_definitions["fill_color:depth"].gcitem->item->coding[0].out_0;
        const std::string errors = expectConfigureRefused(ggc, c.key, c.value, c.message);
        // the caller's line comes last
        EXPECT_NE(errors.find(std::string("VXGlyphsGraphicsContext::configure: ") + c.key + " error.\n"),
                  std::string::npos)
            << errors;
        EXPECT_EQ(ggc->gcItemDefinitionsText(), items_before);
        EXPECT_EQ(ggc->gcDefinitionsText(), styles_before);
        EXPECT_FALSE(ggc->gcitem_definitions.contains("size:new"));
        EXPECT_EQ(ggc->gcitem_definitions["fill_color:depth"].gcitem->item->coding[0].out_0, fill_before);
        EXPECT_EQ(ggc->getGcIndex("new"), -1);
    }
}

TEST(GlyphDefinitionErrors, HostileTextIsRefusedQuietly)
{
    auto ggc = loadedDefaults();
    const QString styles_before = ggc->gcDefinitionsText();
    std::string deep;
    for (int i = 0; i < 2000; i++)
        deep += "a &Arr{\n";
    const std::string long_value = "size:x constant " + std::string(200000, '9');
    const std::string long_coding = "size:x c " + std::string(100000, ':');
    const std::string binary("fill_color:x constant \x01\x02\xff\xfe", 26);
    struct Case { const char* name; const char* key; std::string value; } cases[] = {
        {"deep nesting", "gc_definitions", deep}, {"deep nesting of items", "gcitem_definitions", deep},
        {"huge number", "gcitem_definition", long_value}, {"colons only", "gcitem_definition", long_coding},
        {"binary bytes", "gcitem_definition", binary},
        {"many equals", "change_gc_definitions", std::string(10000, '=')},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_LT(ggc->configure(c.key, c.value.c_str(), nullptr), 0);
        EXPECT_FALSE(takeErrors().empty());
        EXPECT_EQ(ggc->gcDefinitionsText(), styles_before);
        EXPECT_FALSE(ggc->gcitem_definitions.contains("size:x"));
    }
}
