// Glyph styles: parsing item definitions, styles and change lists, and
// building a style's contexts.
//
// Every text is checked in full before anything is stored, so that a bad
// line leaves all earlier definitions as they were.
#include "glyphs/glyphsgc.h"

#include "toolkit/base/errors.h"
#include "toolkit/params/kv.h"

#include <QByteArray>
#include <QRegularExpression>

#include <algorithm>
#include <memory>
#include <utility>

namespace {

struct KindWord
{
    const char* kind;
    int type;
};

// The kinds of item definitions and the item types they set.
constexpr KindWord kinds[] = {
    {"symbol", VX_GC_SYMBOL},          {"size", VX_GC_SCALAR},
    {"fill_color", VX_GC_BRUSH_COLOR}, {"outline_color", VX_GC_PEN_COLOR},
    {"outline_linewidth", VX_GC_PEN_WIDTHF}, {"opacity", VX_GC_OPACITY},
};

struct ShapeWord
{
    const char* name;
    int symbol;
};

constexpr ShapeWord shapes[] = {
    {"circle", VX_SYMBOL_CIRCLE},     {"square", VX_SYMBOL_SQUARE}, {"triangle", VX_SYMBOL_TRIANGLE},
    {"point", VX_SYMBOL_POINT},       {"cross", VX_SYMBOL_CROSS},   {"x", VX_SYMBOL_X},
    {"star", VX_SYMBOL_STAR},         {"diamond", VX_SYMBOL_DIAMOND}, {"beachball", VX_SYMBOL_BEACHBALL},
};

// Kind part of an item key ("fill_color" of "fill_color:depth"); empty
// without a colon.
QString kindOf(const QString& key)
{
    qsizetype colon = key.indexOf(QLatin1Char(':'));
    return colon < 0 ? QString() : key.left(colon);
}

int typeOfKind(const QString& kind)
{
    for (const KindWord& k : kinds)
        if (kind == QLatin1String(k.kind))
            return k.type;
    return -1;
}

// Blank-separated words, as scanf's %s reads them.
QStringList words(const QString& text)
{
    static const QRegularExpression blanks(QStringLiteral("[ \t\r\n\f\v]+"));
    return text.split(blanks, Qt::SkipEmptyParts);
}

// Compile text and find the block of entries: the document itself, or the
// one &Arr it holds when it holds nothing else ("key &Arr{...}").  A bare
// "&Arr{...}" is given a key first.  *wrapper_key is the key of such a
// block.  0, or -1 after kvcompile's own error (*doc null).
int compileBlock(const QString& text, Kv** doc, Kv** block, QString* wrapper_key)
{
    QByteArray t8 = text.toUtf8();
    if (text.trimmed().startsWith(QLatin1String("&Arr{")))
        t8.prepend("definitions ");
    *doc = nullptr;
    if (VX_kvcompile(t8.constData(), doc) < 0)
        return -1;
    *block = *doc;
    wrapper_key->clear();
    Tbl* keys = kvkeys(*doc);
    if (keys && seqcount(keys) == 1) {
        const char* key = static_cast<const char*>(seqget(keys, 0));
        void* value = nullptr;
        int kind = kvget(*doc, key, &value);
        if (kind == KV_KIND_ARR) {
            *block = static_cast<Kv*>(value);
            *wrapper_key = QString::fromUtf8(key);
        }
    }
    seqfree(keys, nullptr);
    return 0;
}

// The item keys and value texts of a block, in written order.  false with
// the key of a nested block in *bad.
bool blockStrings(Kv* block, QList<std::pair<QString, QString>>* out, QString* bad)
{
    Tbl* keys = kvkeys(block);
    if (!keys)
        return false;
    bool ok = true;
    for (long i = 0; i < seqcount(keys); i++) {
        const char* key = static_cast<const char*>(seqget(keys, i));
        void* value = nullptr;
        if (kvget(block, key, &value) != KV_KIND_STRING) {
            *bad = QString::fromUtf8(key);
            ok = false;
            break;
        }
        out->append({QString::fromUtf8(key), QString::fromUtf8(static_cast<const char*>(value))});
    }
    seqfree(keys, nullptr);
    return ok;
}

QList<VxGlyphsGcDefinition>* listOfKind(VxGlyphsDefinition* def, const QString& kind)
{
    if (kind == QLatin1String("fill_color"))
        return &def->fill_color_items;
    if (kind == QLatin1String("outline_linewidth"))
        return &def->outline_linewidth_items;
    if (kind == QLatin1String("outline_color"))
        return &def->outline_color_items;
    if (kind == QLatin1String("opacity"))
        return &def->opacity_items;
    return nullptr;
}

// Append the item definition of key to the style; false for an unknown key.
bool addToStyle(VxGlyphsDefinition* def, const QString& key, const QHash<QString, VxGlyphsGcDefinition>& items)
{
    auto it = items.find(key);
    if (it == items.end() || !it->gcitem)
        return false;
    const QString kind = kindOf(key);
    if (kind == QLatin1String("symbol")) {
        if (!def->symbol)
            def->symbol = it->gcitem;
        return true;
    }
    if (kind == QLatin1String("size")) {
        if (!def->size.gcitem)
            def->size = *it;
        return true;
    }
    QList<VxGlyphsGcDefinition>* list = listOfKind(def, kind);
    if (!list)
        return false;
    list->append(*it);
    return true;
}

int next_generation = 0;

} // namespace

// ---------------------------------------------------------------------------
// one item definition

int glyphsgraphicscontext_parse_gcitem_definition(VXGraphicsContext* gc, const QString& text, QString* key_out,
                                                   VxGlyphsGcDefinition* definition)
{
    QByteArray t8 = text.toUtf8();
    // definitions are printed back as parameter text, which cannot carry
    // control characters
    for (QChar c : text) {
        if ((c.unicode() < 0x20 && c != QLatin1Char('\t') && c != QLatin1Char('\r') && c != QLatin1Char('\n')) ||
            c.unicode() == 0x7f) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "glyphsgraphicscontext_parse_gcitem_definition: control character in '%s'.\n",
                              t8.constData());
            return -1;
        }
    }
    const QStringList f = words(text);
    if (f.isEmpty()) {
        hl_register_error(HL_SEVERITY_NORMAL, "glyphsgraphicscontext_parse_gcitem_definition: sscanf(%s) error.\n",
                          t8.constData());
        return -1;
    }
    if (f.size() < 2) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "glyphsgraphicscontext_parse_gcitem_definition: sscanf(%s) error - no values.\n",
                          t8.constData());
        return -1;
    }
    const QString& key = f[0];
    QByteArray k8 = key.toUtf8();
    // names are printed as they are, and "#" would begin a comment there
    if (key.contains(QLatin1Char('#')) || (f.size() >= 3 && f[1].contains(QLatin1Char('#')))) {
        hl_register_error(HL_SEVERITY_NORMAL, "glyphsgraphicscontext_parse_gcitem_definition: '#' in a name of '%s'.\n",
                          t8.constData());
        return -1;
    }
    if (!key.contains(QLatin1Char(':'))) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "glyphsgraphicscontext_parse_gcitem_definition: key value %s needs a : character.\n",
                          k8.constData());
        return -1;
    }
    const QString kind = kindOf(key);
    const int type = typeOfKind(kind);
    if (type < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "glyphsgraphicscontext_parse_gcitem_definition: Unrecognized gc type %s.\n",
                          kind.toUtf8().constData());
        return -1;
    }
    VxGlyphsGcDefinition def;
    if (type == VX_GC_SYMBOL) {
        // "symbol:name shape", or with a coding word before the shape
        const QString& shape = f.size() >= 3 ? f[2] : f[1];
        int symbol = -1;
        for (const ShapeWord& s : shapes)
            if (shape == QLatin1String(s.name))
                symbol = s.symbol;
        if (symbol < 0) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "glyphsgraphicscontext_parse_gcitem_definition: Unrecognized symbol type %s for %s.\n",
                              shape.toUtf8().constData(), k8.constData());
            return -1;
        }
        def.gcitem = gc->setGcItem(key, VX_GC_SYMBOL, symbol, 1);
        def.coding = QStringLiteral("constant");
        def.value = shape;
    } else {
        if (f.size() < 3) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "glyphsgraphicscontext_parse_gcitem_definition: sscanf(%s) error - no values.\n",
                              t8.constData());
            return -1;
        }
        def.coding = f[1];
        def.value = f[2];
        // a coded value is a coding text; the item keeps the coding and
        // the glyphs give it inputs
        def.gcitem = gc->setGcItem(key, type, def.value, 1);
    }
    if (!def.gcitem) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "glyphsgraphicscontext_parse_gcitem_definition: Cannot parse definition '%s' for %s.\n",
                          def.value.toUtf8().constData(), k8.constData());
        return -1;
    }
    if (key_out)
        *key_out = key;
    if (definition)
        *definition = def;
    return 0;
}

int VXGlyphsGraphicsContext::setGcItemDefinition(const QString& line)
{
    // checked on a scratch object first, so that nothing changes on failure
    VXGraphicsContext scratch;
    if (glyphsgraphicscontext_parse_gcitem_definition(&scratch, line, nullptr, nullptr) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXGlyphsGraphicsContext::setGcItemDefinition: Cannot use definition '%s'.\n",
                          line.toUtf8().constData());
        return -1;
    }
    QString key;
    VxGlyphsGcDefinition def;
    if (glyphsgraphicscontext_parse_gcitem_definition(this, line, &key, &def) < 0)
        return -1;
    if (!gcitem_definitions.contains(key))
        gcitem_order.append(key);
    gcitem_definitions.insert(key, def);
    return 0;
}

int VXGlyphsGraphicsContext::setGcItemDefinitions(const QString& text)
{
    Kv* doc = nullptr;
    Kv* block = nullptr;
    QString wrapper;
    if (compileBlock(text, &doc, &block, &wrapper) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "glyphsgraphicscontext_parse_gcitem_definitions: VX_kvcompile(%s) error.\n",
                          text.left(200).toUtf8().constData());
        return -1;
    }
    QList<std::pair<QString, QString>> entries;
    QString bad;
    const bool strings = blockStrings(block, &entries, &bad);
    kvfree(doc);
    if (!strings) {
        hl_register_error(HL_SEVERITY_NORMAL, "glyphsgraphicscontext_parse_gcitem_definitions: kvparam(%s) error.\n",
                          bad.toUtf8().constData());
        return -1;
    }
    QStringList lines;
    lines.reserve(entries.size());
    VXGraphicsContext scratch;
    for (const auto& [key, value] : entries) {
        QString line = key + QLatin1Char(' ') + value;
        if (glyphsgraphicscontext_parse_gcitem_definition(&scratch, line, nullptr, nullptr) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "glyphsgraphicscontext_parse_gcitem_definitions: Cannot parse definition %s.\n",
                              key.toUtf8().constData());
            return -1;
        }
        lines.append(line);
    }
    // all good: store them here (they parsed once, so they parse again)
    for (const QString& line : std::as_const(lines)) {
        QString key;
        VxGlyphsGcDefinition def;
        if (glyphsgraphicscontext_parse_gcitem_definition(this, line, &key, &def) < 0)
            return -1;
        if (!gcitem_definitions.contains(key))
            gcitem_order.append(key);
        gcitem_definitions.insert(key, def);
    }
    return 0;
}

// ---------------------------------------------------------------------------
// styles

void glyphsgraphicscontext_setup_glyph_gcs(VxGlyphsDefinition* def, QList<QString>* coding_names)
{
    def->glyph_gcs.clear();
    def->coding_defs.clear();
    def->coding_slots.clear();
    def->coding_order.clear();
    def->generation = ++next_generation;
    auto addSlot = [&](const QString& coding, int gc, int gci) {
        if (coding.isEmpty() || coding == QLatin1String("constant"))
            return;
        auto it = def->coding_defs.find(coding);
        int index;
        if (it == def->coding_defs.end()) {
            index = def->coding_slots.size();
            def->coding_defs.insert(coding, index);
            def->coding_slots.append(QList<VxGlyphsCodingSlot>());
            def->coding_order.append(coding);
            if (coding_names && !coding_names->contains(coding))
                coding_names->append(coding);
        } else {
            index = it.value();
        }
        def->coding_slots[index].append({gc, gci});
    };

    def->glyph_size = VXGraphicsContext::deepCopy(def->size.gcitem);
    if (def->glyph_size)
        addSlot(def->size.coding, -1, 0);

    const QList<VxGlyphsGcDefinition>* lists[] = {&def->fill_color_items, &def->outline_linewidth_items,
                                                  &def->outline_color_items, &def->opacity_items};
    qsizetype n = 0;
    for (const auto* list : lists)
        n = std::max(n, list->size());
    for (qsizetype i = 0; i < n; i++) {
        auto gc = std::make_shared<QList<VxGraphicsContextItem>>();
        for (const auto* list : lists) {
            if (list->isEmpty())
                continue;
            const VxGlyphsGcDefinition& d = list->at(std::min(i, list->size() - 1));
            VxGraphicsContextItem copy = VXGraphicsContext::deepCopy(d.gcitem);
            if (!copy)
                continue;
            copy->coding_input = VX_GC_NO_INPUT;
            addSlot(d.coding, static_cast<int>(i), static_cast<int>(gc->size()));
            gc->append(copy);
        }
        def->glyph_gcs.append(gc);
    }
}

int VXGlyphsGraphicsContext::setGcDefinitions(const QString& text)
{
    const char* who = "glyphsgraphicscontext_parse_gc_definitions";
    Kv* doc = nullptr;
    Kv* block = nullptr;
    QString wrapper;
    if (compileBlock(text, &doc, &block, &wrapper) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: VX_kvcompile(%s) error.\n", who, text.left(200).toUtf8().constData());
        return -1;
    }
    QList<VxGlyphsDefinition> parsed;
    Tbl* keys = kvkeys(block);
    int result = keys ? 0 : -1;
    if (!keys)
        hl_register_error(HL_SEVERITY_NORMAL, "%s: kvparam(glyphs_gc_definitions) error.\n", who);
    for (long i = 0; keys && result == 0 && i < seqcount(keys); i++) {
        const char* name = static_cast<const char*>(seqget(keys, i));
        void* value = nullptr;
        if (kvget(block, name, &value) != KV_KIND_TBL) {
            // a key holding a string where styles were expected
            if (block == doc && seqcount(keys) == 1
                && (qstrcmp(name, "glyphs_gc_definitions") == 0 || qstrcmp(name, "gc_definitions") == 0))
                hl_register_error(HL_SEVERITY_NORMAL, "%s: kvparam(glyphs_gc_definitions) error.\n", who);
            else
                hl_register_error(HL_SEVERITY_NORMAL, "%s: kvparam(%s) error.\n", who, name);
            result = -1;
            break;
        }
        Kv* rows = static_cast<Kv*>(value);
        VxGlyphsDefinition def;
        def.name = QString::fromUtf8(name);
        for (long r = 0; r < kvcount(rows); r++) {
            void* row = nullptr;
            if (kvgetindex(rows, r, &row) != KV_KIND_STRING) {
                hl_register_error(HL_SEVERITY_NORMAL, "%s: kvparam(%s) error.\n", who, name);
                result = -1;
                break;
            }
            const QString rowText = QString::fromUtf8(static_cast<const char*>(row));
            const QStringList f = words(rowText);
            if (f.size() > 1) {
                hl_register_error(HL_SEVERITY_NORMAL, "%s: Cannot parse '%s' - require only one field.\n", who,
                                  rowText.toUtf8().constData());
                result = -1;
                break;
            }
            if (f.isEmpty() || !addToStyle(&def, f[0], gcitem_definitions)) {
                hl_register_error(HL_SEVERITY_NORMAL, "%s: Cannot parse '%s'.\n", who, rowText.toUtf8().constData());
                result = -1;
                break;
            }
        }
        if (result == 0)
            parsed.append(std::move(def));
    }
    seqfree(keys, nullptr);
    kvfree(doc);
    if (result < 0)
        return -1;

    for (VxGlyphsDefinition& def : parsed) {
        glyphsgraphicscontext_setup_glyph_gcs(&def, &coding_names);
        auto it = gc_definitions_index.find(def.name);
        if (it != gc_definitions_index.end()) {
            gc_definitions_list[it.value()] = def;
        } else {
            gc_definitions_index.insert(def.name, gc_definitions_list.size());
            gc_definitions_list.append(def);
        }
        gc_definitions.insert(def.name, def);
    }
    return 0;
}

int VXGlyphsGraphicsContext::changeGcDefinitions(const QString& text)
{
    const char* who = "glyphsgraphicscontext_parse_change_gc_definitions";
    QList<VxGlyphsDefinition> changed;
    for (const QString& entry : words(text)) {
        QByteArray e8 = entry.toUtf8();
        if (entry.count(QLatin1Char('=')) != 1) {
            hl_register_error(HL_SEVERITY_NORMAL, "%s: Need exactly one '=' character in %s.\n", who, e8.constData());
            return -1;
        }
        const qsizetype eq = entry.indexOf(QLatin1Char('='));
        const QString name = entry.left(eq);
        // a style changed by an earlier entry of the same text goes on from
        // there
        VxGlyphsDefinition* def = nullptr;
        for (VxGlyphsDefinition& d : changed)
            if (d.name == name)
                def = &d;
        if (!def) {
            auto it = gc_definitions_index.find(name);
            if (it == gc_definitions_index.end()) {
                hl_register_error(HL_SEVERITY_NORMAL, "%s: Cannot find '%s' definition.\n", who,
                                  name.toUtf8().constData());
                return -1;
            }
            changed.append(gc_definitions_list.at(it.value()));
            def = &changed.last();
        }
        // the i-th item of a kind in this entry replaces the i-th of the style
        QHash<QString, int> seen;
        for (const QString& key : entry.mid(eq + 1).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
            auto item = gcitem_definitions.find(key);
            if (item == gcitem_definitions.end() || !item->gcitem) {
                hl_register_error(HL_SEVERITY_NORMAL, "%s: Cannot find '%s' gc item definition.\n", who,
                                  key.toUtf8().constData());
                return -1;
            }
            const QString kind = kindOf(key);
            const int nth = seen.value(kind, 0);
            seen.insert(kind, nth + 1);
            if (kind == QLatin1String("symbol")) {
                def->symbol = item->gcitem;
            } else if (kind == QLatin1String("size")) {
                def->size = *item;
            } else if (QList<VxGlyphsGcDefinition>* list = listOfKind(def, kind)) {
                if (nth < list->size())
                    (*list)[nth] = *item;
                else
                    list->append(*item);
            }
        }
    }
    for (VxGlyphsDefinition& def : changed) {
        glyphsgraphicscontext_setup_glyph_gcs(&def, &coding_names);
        gc_definitions_list[gc_definitions_index.value(def.name)] = def;
        gc_definitions.insert(def.name, def);
    }
    return 0;
}

// ---------------------------------------------------------------------------
// printing

QString VXGlyphsGraphicsContext::gcItemDefinitionsText() const
{
    QString text = QStringLiteral("&Arr{\n");
    for (const QString& key : gcitem_order) {
        const VxGlyphsGcDefinition& d = gcitem_definitions[key];
        QString value = d.value;
        value.replace(QLatin1Char('#'), QLatin1String("\\#"));
        if (kindOf(key) == QLatin1String("symbol"))
            text += QStringLiteral("\t%1\t%2\n").arg(key, value);
        else
            text += QStringLiteral("\t%1\t%2\t%3\n").arg(key, d.coding, value);
    }
    return text + QStringLiteral("}\n");
}

QString VXGlyphsGraphicsContext::gcDefinitionsText() const
{
    QString text = QStringLiteral("&Arr{\n");
    for (const VxGlyphsDefinition& d : gc_definitions_list) {
        text += QStringLiteral("\t%1 &Tbl{\n").arg(d.name);
        if (d.symbol && d.symbol->item)
            text += QStringLiteral("\t\t%1\n").arg(d.symbol->item->name);
        if (d.size.gcitem && d.size.gcitem->item)
            text += QStringLiteral("\t\t%1\n").arg(d.size.gcitem->item->name);
        // the items path by path, in the order they are applied
        const QList<VxGlyphsGcDefinition>* lists[] = {&d.fill_color_items, &d.outline_linewidth_items,
                                                      &d.outline_color_items, &d.opacity_items};
        qsizetype n = 0;
        for (const auto* list : lists)
            n = std::max(n, list->size());
        for (qsizetype i = 0; i < n; i++)
            for (const auto* list : lists)
                if (i < list->size() && list->at(i).gcitem && list->at(i).gcitem->item)
                    text += QStringLiteral("\t\t%1\n").arg(list->at(i).gcitem->item->name);
        text += QStringLiteral("\t}\n");
    }
    return text + QStringLiteral("}\n");
}
