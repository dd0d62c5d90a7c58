// Graphics contexts: the parameter records, the maps of contexts and items,
// copies and the static symbols.
#include "glyphs/graphicscontext.h"

#include "glyphs/graphicscontext_p.h"
#include "toolkit/base/errors.h"

#include <QStringList>

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

QHash<QString, VxGraphicsContextItem> VXGraphicsContext::symbols;

namespace {

const char* const symbol_names[VX_SYMBOL_COUNT] = {
    "static:symbol_default", "static:symbol_point",   "static:symbol_cross",   "static:symbol_x",
    "static:symbol_triangle", "static:symbol_square", "static:symbol_circle",  "static:symbol_star",
    "static:symbol_diamond", "static:symbol_beachball", "static:symbol_shape",
};

VxGraphicsContextItem symbol_items[VX_SYMBOL_COUNT];

void* newValue(int kind)
{
    switch (kind) {
    case vxgc::KIND_INT:
        return new int(0);
    case vxgc::KIND_DOUBLE:
        return new double(0.0);
    case vxgc::KIND_COLOR:
        return new QColor();
    case vxgc::KIND_FONT:
        return new QFont();
    default:
        return nullptr;
    }
}

void* copyValue(int kind, const void* value)
{
    if (!value)
        return newValue(kind);
    switch (kind) {
    case vxgc::KIND_INT:
        return new int(*static_cast<const int*>(value));
    case vxgc::KIND_DOUBLE:
        return new double(*static_cast<const double*>(value));
    case vxgc::KIND_COLOR:
        return new QColor(*static_cast<const QColor*>(value));
    case vxgc::KIND_FONT:
        return new QFont(*static_cast<const QFont*>(value));
    default:
        return nullptr;
    }
}

void freeValue(int kind, void* value)
{
    switch (kind) {
    case vxgc::KIND_INT:
        delete static_cast<int*>(value);
        break;
    case vxgc::KIND_DOUBLE:
        delete static_cast<double*>(value);
        break;
    case vxgc::KIND_COLOR:
        delete static_cast<QColor*>(value);
        break;
    case vxgc::KIND_FONT:
        delete static_cast<QFont*>(value);
        break;
    default:
        break;
    }
}

int codingCount(int coding_type)
{
    return coding_type == VX_GC_CODING_COLOR ? 3 : coding_type == VX_GC_CODING_SCALAR ? 1 : 0;
}

// "gc:item" split at the first colon; no colon means context "default".
bool splitName(const QString& name, QString* gc, QString* full)
{
    qsizetype colon = name.indexOf(QLatin1Char(':'));
    QString context = colon < 0 ? QStringLiteral("default") : name.left(colon);
    QString item = colon < 0 ? name : name.mid(colon + 1);
    if (context.isEmpty() || item.isEmpty())
        return false;
    *gc = context;
    *full = context + QLatin1Char(':') + item;
    return true;
}

} // namespace

// ---------------------------------------------------------------------------
// internal helpers

namespace vxgc {

int kindOfType(int type)
{
    switch (type) {
    case VX_GC_NO_PEN:
    case VX_GC_NO_BRUSH:
        return KIND_NONE;
    case VX_GC_PEN_STYLE:
    case VX_GC_PEN_JOIN:
    case VX_GC_PEN_CAP:
    case VX_GC_PEN_WIDTH:
    case VX_GC_SYMBOL:
        return KIND_INT;
    case VX_GC_PEN_WIDTHF:
    case VX_GC_OPACITY:
    case VX_GC_SCALAR:
    case VX_GC_DASH_PHASE0:
    case VX_GC_DASH_PHASE1:
        return KIND_DOUBLE;
    case VX_GC_PEN_COLOR:
    case VX_GC_BRUSH_COLOR:
        return KIND_COLOR;
    case VX_GC_FONT:
        return KIND_FONT;
    default:
        return -1;
    }
}

void releaseParams(VxGraphicsContextItemParams& p)
{
    if (p.free_flag)
        freeValue(p.value_kind, p.value);
    freeValue(p.coding_out_kind, p.coding_out);
    delete[] p.coding;
    p.value = nullptr;
    p.value_kind = KIND_NONE;
    p.free_flag = 0;
    p.coding = nullptr;
    p.coding_out = nullptr;
    p.coding_out_kind = KIND_NONE;
    p.coding_type = VX_GC_CODING_NONE;
}

bool initParams(VxGraphicsContextItemParams& p, int type)
{
    int kind = kindOfType(type);
    if (kind < 0)
        return false;
    releaseParams(p);
    p.type = type;
    p.value_kind = kind;
    p.value = newValue(kind);
    p.free_flag = p.value != nullptr;
    return true;
}

void storeCoding(VxGraphicsContextItemParams& p, int coding_type, const VxGraphicsContextCoding* codings)
{
    freeValue(p.coding_out_kind, p.coding_out);
    delete[] p.coding;
    p.coding = nullptr;
    p.coding_out = nullptr;
    p.coding_out_kind = KIND_NONE;
    p.coding_type = VX_GC_CODING_NONE;
    int n = codingCount(coding_type);
    if (n == 0 || !codings)
        return;
    p.coding = new VxGraphicsContextCoding[n];
    std::copy(codings, codings + n, p.coding);
    p.coding_type = coding_type;
    p.coding_out_kind = coding_type == VX_GC_CODING_COLOR ? KIND_COLOR : KIND_DOUBLE;
    p.coding_out = newValue(p.coding_out_kind);
}

} // namespace vxgc

// ---------------------------------------------------------------------------
// parameter records

VxGraphicsContextItemParams::VxGraphicsContextItemParams(const VxGraphicsContextItemParams& o)
    : type(o.type), name(o.name)
{
    value_kind = o.value_kind;
    if (o.value_kind != vxgc::KIND_NONE) {
        value = copyValue(o.value_kind, o.value);
        free_flag = 1;
    }
    vxgc::storeCoding(*this, o.coding_type, o.coding);
}

VxGraphicsContextItemParams& VxGraphicsContextItemParams::operator=(const VxGraphicsContextItemParams& o)
{
    if (this != &o) {
        VxGraphicsContextItemParams copy(o);
        *this = std::move(copy);
    }
    return *this;
}

VxGraphicsContextItemParams& VxGraphicsContextItemParams::operator=(VxGraphicsContextItemParams&& o) noexcept
{
    if (this != &o) {
        std::swap(type, o.type);
        std::swap(value, o.value);
        std::swap(coding_type, o.coding_type);
        std::swap(coding_out, o.coding_out);
        std::swap(coding, o.coding);
        std::swap(free_flag, o.free_flag);
        std::swap(name, o.name);
        std::swap(value_kind, o.value_kind);
        std::swap(coding_out_kind, o.coding_out_kind);
    }
    return *this;
}

VxGraphicsContextItemParams::~VxGraphicsContextItemParams()
{
    vxgc::releaseParams(*this);
}

// ---------------------------------------------------------------------------
// the object

VXGraphicsContext::VXGraphicsContext()
{
    makeStaticSymbols();
}

VXGraphicsContext::VXGraphicsContext(VXGraphicsContext* other)
{
    makeStaticSymbols();
    if (other)
        copy(other, 1);
}

VXGraphicsContext::~VXGraphicsContext()
{
    mapgc.clear();
    mapgcitem.clear();
}

int VXGraphicsContext::copy(VXGraphicsContext* other, int replace)
{
    if (!other) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::copy: null graphics context.\n");
        return -1;
    }
    if (other == this)
        return 0;
    int changed = 0;
    // sorted names: the same copy whatever the hash order
    QStringList names = other->mapgc.keys();
    names.sort();
    for (const QString& gcname : names) {
        const VxGraphicsContext& from = other->mapgc.value(gcname);
        if (!from)
            continue;
        VxGraphicsContext& to = mapgc[gcname];
        if (!to)
            to = std::make_shared<QList<VxGraphicsContextItem>>();
        for (const VxGraphicsContextItem& item : *from) {
            if (!item || !item->item)
                continue;
            const QString& full = item->item->name;
            VxGraphicsContextItem mine = mapgcitem.value(full);
            if (mine) {
                if (replace) {
                    mine->item = item->item;
                    mine->coding_input = item->coding_input;
                    changed++;
                }
                continue;
            }
            VxGraphicsContextItem shared = shareItem(item);
            shared->coding_input = item->coding_input;
            to->append(shared);
            // an item listed under another context keeps its own full name
            if (!full.isEmpty())
                mapgcitem.insert(full, shared);
            changed++;
        }
    }
    return changed;
}

VxGraphicsContextItem VXGraphicsContext::get_item(const QString& name, int set, int /*replace*/, int* created)
{
    if (created)
        *created = 0;
    QString gcname, full;
    if (!splitName(name, &gcname, &full)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::get_item: bad item name '%s'.\n",
                          name.toUtf8().constData());
        return nullptr;
    }
    VxGraphicsContextItem item = mapgcitem.value(full);
    if (item || !set) {
        if (!item)
            hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::get_item: Cannot find item '%s'.\n",
                              full.toUtf8().constData());
        return item;
    }
    VxGraphicsContext gc = mapgc.value(gcname);
    try {
        if (!gc)
            gc = std::make_shared<QList<VxGraphicsContextItem>>();
        item = std::make_shared<VxGraphicsContextItemRaw>();
        item->item = std::make_shared<VxGraphicsContextItemParams>();
    } catch (const std::bad_alloc&) {
        hl_register_error(HL_SEVERITY_SYSTEM, "VXGraphicsContext::get_item: new VxGraphicsContext error.\n");
        return nullptr;
    }
    item->item->name = full;
    mapgc.insert(gcname, gc);
    gc->append(item);
    mapgcitem.insert(full, item);
    if (created)
        *created = 1;
    return item;
}

VxGraphicsContext VXGraphicsContext::getGc(const QString& name)
{
    VxGraphicsContext gc = mapgc.value(name);
    if (!gc)
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::getGc: Cannot find graphics context '%s'.\n",
                          name.toUtf8().constData());
    return gc;
}

VxGraphicsContextItem VXGraphicsContext::getGcItem(const QString& name)
{
    VxGraphicsContextItem item = get_item(name, 0, 0);
    if (!item)
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::getGcItem: get_item(%s) error.\n",
                          name.toUtf8().constData());
    return item;
}

QStringList VXGraphicsContext::getGcNames() const
{
    QStringList names = mapgc.keys();
    names.sort();
    return names;
}

VxGraphicsContext VXGraphicsContext::deepCopy(const VxGraphicsContext& gc)
{
    if (!gc)
        return nullptr;
    auto list = std::make_shared<QList<VxGraphicsContextItem>>();
    list->reserve(gc->size());
    for (const VxGraphicsContextItem& item : *gc)
        list->append(deepCopy(item));
    return list;
}

VxGraphicsContextItem VXGraphicsContext::deepCopy(const VxGraphicsContextItem& item)
{
    if (!item)
        return nullptr;
    auto copy = std::make_shared<VxGraphicsContextItemRaw>();
    if (item->item)
        copy->item = std::make_shared<VxGraphicsContextItemParams>(*item->item);
    copy->coding_input = item->coding_input;
    return copy;
}

VxGraphicsContext VXGraphicsContext::shareGc(const VxGraphicsContext& gc)
{
    if (!gc)
        return nullptr;
    auto list = std::make_shared<QList<VxGraphicsContextItem>>();
    list->reserve(gc->size());
    for (const VxGraphicsContextItem& item : *gc)
        list->append(shareItem(item));
    return list;
}

VxGraphicsContextItem VXGraphicsContext::shareItem(const VxGraphicsContextItem& item)
{
    if (!item)
        return nullptr;
    auto shared = std::make_shared<VxGraphicsContextItemRaw>();
    shared->item = item->item;
    return shared;
}

void VXGraphicsContext::initContextItem(const VxGraphicsContextItem& item)
{
    if (item)
        item->coding_input = VX_GC_NO_INPUT;
}

void VXGraphicsContext::setCodingInput(const VxGraphicsContextItem& item, double input)
{
    if (item)
        item->coding_input = static_cast<float>(input);
}

double VXGraphicsContext::getCodingInput(const VxGraphicsContextItem& item)
{
    return item ? static_cast<double>(item->coding_input) : static_cast<double>(VX_GC_NO_INPUT);
}

QString VXGraphicsContext::showItem(const QString& name, const VxGraphicsContextItem& item)
{
    if (!item || !item->item)
        return QStringLiteral("%1: null item").arg(name);
    const VxGraphicsContextItemParams& p = *item->item;
    QString value;
    switch (p.value_kind) {
    case vxgc::KIND_INT:
        value = QString::number(*static_cast<const int*>(p.value));
        break;
    case vxgc::KIND_DOUBLE:
        value = QString::number(*static_cast<const double*>(p.value), 'g', 10);
        break;
    case vxgc::KIND_COLOR:
        value = static_cast<const QColor*>(p.value)->name(QColor::HexArgb);
        break;
    case vxgc::KIND_FONT:
        value = static_cast<const QFont*>(p.value)->toString();
        break;
    default:
        value = QStringLiteral("-");
        break;
    }
    QString text = QStringLiteral("%1: name %2 type %3 value %4").arg(name, p.name).arg(p.type).arg(value);
    for (int i = 0; i < codingCount(p.coding_type) && p.coding; i++) {
        const VxGraphicsContextCoding& c = p.coding[i];
        text += QStringLiteral(" coding %1,%2,%3,%4,%5")
                    .arg(c.in_0, 0, 'g', 10)
                    .arg(c.out_0, 0, 'g', 10)
                    .arg(c.out_scale, 0, 'g', 10)
                    .arg(c.out_min, 0, 'g', 10)
                    .arg(c.out_max, 0, 'g', 10);
    }
    if (item->coding_input != VX_GC_NO_INPUT)
        text += QStringLiteral(" input %1").arg(static_cast<double>(item->coding_input), 0, 'g', 8);
    return text;
}

void VXGraphicsContext::clear(const VxGraphicsContext& gc)
{
    if (!gc)
        return;
    for (const VxGraphicsContextItem& item : *gc) {
        if (!item || !item->item)
            continue;
        auto it = mapgcitem.find(item->item->name);
        if (it != mapgcitem.end() && it.value() == item)
            mapgcitem.erase(it);
    }
    gc->clear();
}

void VXGraphicsContext::makeStaticSymbols()
{
    static std::once_flag once;
    std::call_once(once, [] {
        for (int i = 0; i < VX_SYMBOL_COUNT; i++) {
            auto params = std::make_shared<VxGraphicsContextItemParams>();
            vxgc::initParams(*params, VX_GC_SYMBOL);
            *static_cast<int*>(params->value) = i;
            params->name = QString::fromLatin1(symbol_names[i]);
            auto item = std::make_shared<VxGraphicsContextItemRaw>();
            item->item = params;
            symbol_items[i] = item;
            symbols.insert(params->name, item);
        }
    });
}

VxGraphicsContextItem VXGraphicsContext::getSymbol(int symbol)
{
    makeStaticSymbols();
    if (symbol < 0 || symbol >= VX_SYMBOL_COUNT)
        return nullptr;
    return symbol_items[symbol];
}
