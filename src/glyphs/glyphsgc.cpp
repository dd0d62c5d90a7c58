// Glyph styles: the configuration table, lookups and the coding inputs of
// glyphs.
#include "glyphs/glyphsgc.h"

#include "glyphs/glyph.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <cstring>

namespace {

enum {
    IX_GCITEM_DEFINITIONS = 0,
    IX_GCITEM_DEFINITION = 1,
    IX_GC_DEFINITIONS = 2,
    IX_CHANGE_GC_DEFINITIONS = 3,
};

VXGlyphsGraphicsContext* objectOf(void* object_ptr)
{
    return static_cast<VXGlyphsGraphicsContext*>(static_cast<VXConfigure*>(object_ptr));
}

int glyphsgc_parse(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char*, int offset, void* object_ptr)
{
    VXGlyphsGraphicsContext* ggc = objectOf(object_ptr);
    const QString text = QString::fromUtf8(value ? value : "");
    int r = 0;
    switch (offset) {
    case IX_GCITEM_DEFINITIONS:
        r = ggc->setGcItemDefinitions(text);
        break;
    case IX_GCITEM_DEFINITION:
        r = ggc->setGcItemDefinition(text);
        break;
    case IX_GC_DEFINITIONS:
        r = ggc->setGcDefinitions(text);
        break;
    case IX_CHANGE_GC_DEFINITIONS:
        r = ggc->changeGcDefinitions(text);
        break;
    default:
        hl_register_error(HL_SEVERITY_NORMAL, "glyphsgc_parse: Illegal offset value %d\n", offset);
        return -1;
    }
    if (r < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGlyphsGraphicsContext::configure: %s error.\n", spec->name);
        return -1;
    }
    spec->specFlags |= HL_SPEC_CHANGED;
    return 0;
}

char* glyphsgc_print(HL_ConfigureSpec*, HL_ClientData, char*, int offset, void* object_ptr)
{
    VXGlyphsGraphicsContext* ggc = objectOf(object_ptr);
    switch (offset) {
    case IX_GCITEM_DEFINITIONS:
        return strdup(ggc->gcItemDefinitionsText().toUtf8().constData());
    case IX_GC_DEFINITIONS:
        return strdup(ggc->gcDefinitionsText().toUtf8().constData());
    case IX_GCITEM_DEFINITION:
    case IX_CHANGE_GC_DEFINITIONS:
        return strdup("");
    default:
        return strdup("Illegal offset value");
    }
}

HL_CustomOption opt_glyphsgc = {glyphsgc_parse, glyphsgc_print, nullptr};

HL_ConfigureSpec glyphsgc_specs[] = {
    {"custom", "gcitem_definitions", nullptr, IX_GCITEM_DEFINITIONS, 0, &opt_glyphsgc},
    {"custom", "gcitem_definition", nullptr, IX_GCITEM_DEFINITION, 0, &opt_glyphsgc},
    {"custom", "gc_definitions", nullptr, IX_GC_DEFINITIONS, 0, &opt_glyphsgc},
    {"custom", "change_gc_definitions", nullptr, IX_CHANGE_GC_DEFINITIONS, 0, &opt_glyphsgc},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

// The glyph's item of a slot, null when out of range.
VxGraphicsContextItem slotItem(const VXGlyph* glyph, const VxGlyphsCodingSlot& slot)
{
    if (slot.gc < 0)
        return glyph->vars.size;
    if (slot.gc >= glyph->vars.gcs.size() || !glyph->vars.gcs.at(slot.gc))
        return nullptr;
    const QList<VxGraphicsContextItem>& list = *glyph->vars.gcs.at(slot.gc);
    return slot.gci >= 0 && slot.gci < list.size() ? list.at(slot.gci) : nullptr;
}

} // namespace

VXGlyphsGraphicsContext::VXGlyphsGraphicsContext()
{
    setConfigureSpecs(glyphsgc_specs, reinterpret_cast<char*>(this), "VXGlyphsGraphicsContext",
                      static_cast<VXConfigure*>(this), 1);
}

VXGlyphsGraphicsContext::~VXGlyphsGraphicsContext() = default;

int VXGlyphsGraphicsContext::getGcIndex(const QString& name) const
{
    return gc_definitions_index.value(name, -1);
}

int VXGlyphsGraphicsContext::getCodingIndex(int gcindex, const QString& coding) const
{
    if (gcindex < 0 || gcindex >= gc_definitions_list.size())
        return -1;
    return gc_definitions_list.at(gcindex).coding_defs.value(coding, -1);
}

// The glyph's items fed by coding: through the style's slots, or for a
// glyph made before the style was set up again, by the coding names of the
// definitions its items came from.
QList<VxGraphicsContextItem> VXGlyphsGraphicsContext::codedItems(int gcindex, int coding, const VXGlyph* glyph) const
{
    QList<VxGraphicsContextItem> found;
    if (!glyph || gcindex < 0 || gcindex >= gc_definitions_list.size() || glyph->vars.gcindex != gcindex)
        return found;
    const VxGlyphsDefinition& def = gc_definitions_list.at(gcindex);
    if (coding < 0 || coding >= def.coding_slots.size())
        return found;
    if (glyph->vars.gc_generation == def.generation) {
        for (const VxGlyphsCodingSlot& slot : def.coding_slots.at(coding))
            if (VxGraphicsContextItem item = slotItem(glyph, slot))
                found.append(item);
        return found;
    }
    return codedItemsByName(glyph, def.coding_order.at(coding));
}

QList<VxGraphicsContextItem> VXGlyphsGraphicsContext::codedItemsByName(const VXGlyph* glyph,
                                                                        const QString& name) const
{
    QList<VxGraphicsContextItem> found;
    auto take = [&](const VxGraphicsContextItem& item) {
        if (!item || !item->item)
            return;
        auto it = gcitem_definitions.find(item->item->name);
        if (it != gcitem_definitions.end() && it->coding == name)
            found.append(item);
    };
    take(glyph->vars.size);
    for (const VxGraphicsContext& gc : glyph->vars.gcs)
        if (gc)
            for (const VxGraphicsContextItem& item : *gc)
                take(item);
    return found;
}

bool VXGlyphsGraphicsContext::isCurrent(const VXGlyph* glyph) const
{
    const int gcindex = glyph ? glyph->vars.gcindex : -1;
    return gcindex >= 0 && gcindex < gc_definitions_list.size()
           && glyph->vars.gc_generation == gc_definitions_list.at(gcindex).generation;
}

void VXGlyphsGraphicsContext::setCoding(int gcindex, int coding, double value, VXGlyph* glyph)
{
    const QList<VxGraphicsContextItem> items = codedItems(gcindex, coding, glyph);
    for (const VxGraphicsContextItem& item : items)
        VXGraphicsContext::setCodingInput(item, value);
    if (!items.isEmpty())
        glyph->setPathsStale();
}

void VXGlyphsGraphicsContext::getCoding(int gcindex, int coding, double* value, VXGlyph* glyph) const
{
    if (!value)
        return;
    *value = VX_NULL_VALUE;
    for (const VxGraphicsContextItem& item : codedItems(gcindex, coding, glyph))
        if (item->coding_input != VX_GC_NO_INPUT) {
            *value = item->coding_input;
            return;
        }
}

void VXGlyphsGraphicsContext::setCodingCallback(VxGlyphsCodingCallback callback, HL_ClientData client_data)
{
    codingCallback = std::move(callback);
    codingClientData = client_data;
}

void VXGlyphsGraphicsContext::updateCoding(VXGlyph* glyph)
{
    if (!glyph)
        return;
    const int gcindex = glyph->vars.gcindex;
    if (gcindex < 0 || gcindex >= gc_definitions_list.size())
        return;
    const VxGlyphsDefinition& def = gc_definitions_list.at(gcindex);
    if (glyph->vars.gc_generation != def.generation) {
        // the style changed: take its new contexts, with the inputs the
        // glyph had, found by the coding names of its items
        QHash<QString, double> inputs;
        auto collect = [&](const VxGraphicsContextItem& item) {
            if (!item || !item->item || item->coding_input == VX_GC_NO_INPUT)
                return;
            auto it = gcitem_definitions.find(item->item->name);
            if (it != gcitem_definitions.end())
                inputs.insert(it->coding, item->coding_input);
        };
        collect(glyph->vars.size);
        for (const VxGraphicsContext& gc : std::as_const(glyph->vars.gcs))
            if (gc)
                for (const VxGraphicsContextItem& item : *gc)
                    collect(item);
        if (glyph->restyle() < 0) {
            hl_clear_register(0);
            return;
        }
        for (auto it = inputs.cbegin(); it != inputs.cend(); ++it) {
            int coding = def.coding_defs.value(it.key(), -1);
            if (coding >= 0)
                setCoding(gcindex, coding, it.value(), glyph);
        }
    }
    if (!codingCallback)
        return;
    for (int coding = 0; coding < def.coding_order.size(); coding++) {
        double value = VX_NULL_VALUE;
        getCoding(gcindex, coding, &value, glyph);
        if (value != VX_NULL_VALUE)
            continue;
        if (codingCallback(glyph, def.name, def.coding_order.at(coding), &value, codingClientData) >= 0)
            setCoding(gcindex, coding, value, glyph);
    }
}
