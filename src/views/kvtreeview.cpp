// VXKvTreeview: construction, configuration keys, the value check and the
// show keys.
#include "views/kvtreeview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "toolkit/params/hlkv.h"
#include "views/kvtreeview_model_p.h"

#include <QHeaderView>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

enum {
    IX_CELL_HEIGHT = 0,
    IX_CELL_WIDTH,
    IX_ALLOW_KEY,
    IX_ALLOW_VALUE,
    IX_ALLOW_CONSTRAINTS,
    IX_ALLOW_COMMENT,
    IX_SHOW_KEYS,
    IX_SHOW_VALUES,
    IX_SHOW_CONSTRAINTS,
    IX_SHOW_COMMENTS,
    IX_SHOW_SOURCES,
    IX_SHOW_NONINLINE,
    IX_FONT,
    IX_FONT_SIZE,
};

// Largest cell size applied, in pixels.
constexpr int max_cell_size = 10000;

// The document's check of colour and font fields, with the library's own
// parsers.
bool checkField(int type, const std::string& field)
{
    const QString text = QString::fromStdString(field);
    const int before = hl_error_count();
    int rc;
    if (type == HLKV_COLOR) {
        VX_Color color;
        rc = VX_ParseColor(text, color);
    } else {
        VX_Font font;
        rc = VX_ParseFont(text, font);
    }
    if (rc < 0 && before == 0)
        hl_clear_register(0);
    return rc >= 0;
}

bool parseInt(const char* s, int* value)
{
    if (!s)
        return false;
    errno = 0;
    char* end = nullptr;
    long v = strtol(s, &end, 10);
    if (end == s || errno == ERANGE || v < INT_MIN || v > INT_MAX)
        return false;
    while (*end == ' ' || *end == '\t')
        end++;
    if (*end)
        return false;
    *value = static_cast<int>(v);
    return true;
}

int* boolField(VxKvTreeviewParams& p, int offset)
{
    switch (offset) {
    case IX_ALLOW_KEY:
        return &p.allow_key_edits;
    case IX_ALLOW_VALUE:
        return &p.allow_value_edits;
    case IX_ALLOW_CONSTRAINTS:
        return &p.allow_constraints_edits;
    case IX_ALLOW_COMMENT:
        return &p.allow_comment_edits;
    case IX_SHOW_KEYS:
        return &p.show_keys;
    case IX_SHOW_VALUES:
        return &p.show_values;
    case IX_SHOW_CONSTRAINTS:
        return &p.show_constraints;
    case IX_SHOW_COMMENTS:
        return &p.show_comments;
    case IX_SHOW_SOURCES:
        return &p.show_sources;
    case IX_SHOW_NONINLINE:
        return &p.show_noninline_comments;
    default:
        return nullptr;
    }
}

// The one routine of the allow_ and show_ keys.
int kvtreeview_parse_show(HL_ConfigureSpec* spec, VXKvTreeview* view, const char* value, int offset)
{
    int v = 0;
    if (!value || HL_ParseBoolean(value, &v) < 0) {
        hl_register_error(0, "kvtreeview_parse_show: Unable to parse boolean from '%s'.\n", value ? value : "");
        return -1;
    }
    int* field = boolField(view->params, offset);
    if (*field != v) {
        *field = v;
        spec->specFlags |= HL_SPEC_CHANGED;
    }
    switch (offset) {
    case IX_SHOW_KEYS:
        view->showColumn(VX_KVTREE_KEY, v);
        break;
    case IX_SHOW_VALUES:
        view->showColumn(VX_KVTREE_VALUE, v);
        break;
    case IX_SHOW_CONSTRAINTS:
        view->showColumn(VX_KVTREE_CONSTRAINTS, v);
        break;
    case IX_SHOW_COMMENTS:
        view->showColumn(VX_KVTREE_COMMENT, v);
        break;
    case IX_SHOW_SOURCES:
        view->showColumn(VX_KVTREE_SOURCE, v);
        break;
    case IX_SHOW_NONINLINE:
        view->showNoninlineComments(v);
        break;
    default:
        break;
    }
    return 0;
}

int parseOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char*, int offset, void* object_ptr)
{
    VXKvTreeview* view = static_cast<VXKvTreeview*>(object_ptr);
    VxKvTreeviewParams& p = view->params;
    switch (offset) {
    case IX_CELL_HEIGHT:
    case IX_CELL_WIDTH: {
        int v = 0;
        if (!parseInt(value, &v)) {
            hl_register_error(0, "kvtreeview_parse_cellsize: Unable to parse integer from '%s'.\n",
                              value ? value : "");
            return -1;
        }
        v = std::min(v, max_cell_size);
        int& field = offset == IX_CELL_HEIGHT ? p.default_cell_height : p.default_cell_width;
        if (field != v) {
            field = v;
            spec->specFlags |= HL_SPEC_CHANGED;
        }
        if (offset == IX_CELL_WIDTH && v >= 1)
            view->header()->setDefaultSectionSize(v);
        view->viewport()->update();
        return 0;
    }
    case IX_FONT: {
        if (!value || !*value)
            return 0;
        VX_Font parsed;
        if (VX_ParseFont(QString::fromUtf8(value), parsed) < 0) {
            hl_register_error(0, "kvtreeview_parse_font: VX_ParseFont(%s) error.\n", value);
            return -1;
        }
        if (!parsed.invalid && p.font != parsed.font) {
            p.font = parsed.font;
            view->setFont(p.font);
            spec->specFlags |= HL_SPEC_CHANGED;
        }
        return 0;
    }
    case IX_FONT_SIZE: {
        if (!value || !*value)
            return 0;
        int v = 0;
        if (!parseInt(value, &v) || v < 1 || v > VX_FONT_MAX_PIXEL_SIZE) {
            hl_register_error(0, "kvtreeview_parse_fontsize: Unable to parse font size from '%s'.\n", value);
            return -1;
        }
        if (p.font.pixelSize() != v) {
            p.font.setPixelSize(v);
            view->setFont(p.font);
            spec->specFlags |= HL_SPEC_CHANGED;
        }
        return 0;
    }
    default:
        if (!boolField(p, offset))
            return -1;
        return kvtreeview_parse_show(spec, view, value, offset);
    }
}

char* printOption(HL_ConfigureSpec*, HL_ClientData, char*, int offset, void* object_ptr)
{
    VXKvTreeview* view = static_cast<VXKvTreeview*>(object_ptr);
    const VxKvTreeviewParams& p = view->params;
    QString text;
    switch (offset) {
    case IX_CELL_HEIGHT:
        text = QString::number(p.default_cell_height);
        break;
    case IX_CELL_WIDTH:
        text = QString::number(p.default_cell_width);
        break;
    case IX_FONT:
        text = p.font.toString();
        break;
    case IX_FONT_SIZE:
        text = QString::number(p.font.pixelSize());
        break;
    default:
        if (const int* field = boolField(view->params, offset))
            text = *field ? QStringLiteral("yes") : QStringLiteral("no");
        else
            text = QStringLiteral("Illegal offset value");
    }
    return strdup(text.toUtf8().constData());
}

HL_CustomOption opt_kvtreeview = {parseOption, printOption, nullptr};

#define KV_OFFSET(field) static_cast<int>(offsetof(VxKvTreeviewParams, field))

HL_ConfigureSpec kvtreeview_specs[] = {
    {"custom", "default_cell_height", "-1", IX_CELL_HEIGHT, 0, &opt_kvtreeview},
    {"custom", "default_cell_width", "-1", IX_CELL_WIDTH, 0, &opt_kvtreeview},
    {"custom", "allow_key_edits", "no", IX_ALLOW_KEY, 0, &opt_kvtreeview},
    {"custom", "allow_value_edits", "yes", IX_ALLOW_VALUE, 0, &opt_kvtreeview},
    {"custom", "allow_constraints_edits", "no", IX_ALLOW_CONSTRAINTS, 0, &opt_kvtreeview},
    {"custom", "allow_comment_edits", "no", IX_ALLOW_COMMENT, 0, &opt_kvtreeview},
    {"custom", "show_keys", "yes", IX_SHOW_KEYS, 0, &opt_kvtreeview},
    {"custom", "show_values", "yes", IX_SHOW_VALUES, 0, &opt_kvtreeview},
    {"custom", "show_constraints", "no", IX_SHOW_CONSTRAINTS, 0, &opt_kvtreeview},
    {"custom", "show_comments", "yes", IX_SHOW_COMMENTS, 0, &opt_kvtreeview},
    {"custom", "show_sources", "no", IX_SHOW_SOURCES, 0, &opt_kvtreeview},
    {"custom", "show_noninline_comments", "yes", IX_SHOW_NONINLINE, 0, &opt_kvtreeview},
    {"custom", "font", nullptr, IX_FONT, 1, &opt_kvtreeview},
    {"custom", "font_size", nullptr, IX_FONT_SIZE, 1, &opt_kvtreeview},
    {"color", "color_key", "black", KV_OFFSET(key_foreground), 0, nullptr},
    {"color", "color_key_arr", "blue", KV_OFFSET(key_arr_foreground), 0, nullptr},
    {"color", "color_key_tbl", "green", KV_OFFSET(key_tbl_foreground), 0, nullptr},
    {"color", "color_key_literal", "orange", KV_OFFSET(key_literal_foreground), 0, nullptr},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef KV_OFFSET

} // namespace

VXKvTreeview::VXKvTreeview(QWidget* parent, HLKv* kv) : QTreeView(parent), kv(kv)
{
    init();
}

VXKvTreeview::VXKvTreeview(QWidget* parent, const QString& text) : QTreeView(parent)
{
    const std::string utf8 = text.toStdString();
    // HLKv throws "Exception" after registering why
    owned_kv = std::make_unique<HLKv>(utf8, text.contains(QLatin1Char('\n')) ? HLKv::HLKV_FROM_TEXT
                                                                             : HLKv::HLKV_FROM_FILE);
    kv = owned_kv.get();
    init();
}

VXKvTreeview::~VXKvTreeview()
{
    releaseConfigureStrings();
}

void VXKvTreeview::init()
{
    if (!kv) {
        hl_register_error(0, "VXKvTreeview::VXKvTreeview: Null document.\n");
        throw "Exception";
    }
    kv->field_checker = checkField;
    params.font = font();
    vxmodel = new VXKvTreeviewModel(this);
    vxmodel->setupModelData();
    setModel(vxmodel);
    setAlternatingRowColors(true);
    setUniformRowHeights(true);
    header()->setSectionsMovable(false);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed
                    | QAbstractItemView::AnyKeyPressed);
    setConfigureSpecs(kvtreeview_specs, reinterpret_cast<char*>(&params), "VXKvTreeview", this, 1);
    setFont(params.font);
    // widths that fit usual keys and values; measuring the contents would
    // ask every row of a large document
    const int widths[] = {220, 160, 130, 260, 200};
    for (int c = 0; c < 5; c++)
        setColumnWidth(c, params.default_cell_width >= 1 ? params.default_cell_width : widths[c]);
    for (int c = 0; c < params.column_widths.size() && c < 5; c++)
        if (params.column_widths[c] >= 1)
            setColumnWidth(c, params.column_widths[c]);
}

void VXKvTreeview::redraw()
{
    vxmodel->setupModelData();
    comments_hidden = false;
    if (!params.show_noninline_comments)
        showNoninlineComments(false);
    viewport()->update();
}

void VXKvTreeview::iterate(const std::function<void(const QModelIndex&)>& visitor)
{
    // depth first without recursion: documents nest up to KV_MAX_DEPTH
    std::vector<QModelIndex> stack{QModelIndex()};
    while (!stack.empty()) {
        const QModelIndex parent = stack.back();
        stack.pop_back();
        const int n = vxmodel->rowCount(parent);
        for (int r = n - 1; r >= 0; r--)
            stack.push_back(vxmodel->index(r, 0, parent));
        if (parent.isValid())
            visitor(parent);
    }
}

bool VXKvTreeview::checkValue(int index, const QString* candidate, QString* message, QList<int>* bad_fields)
{
    std::string why;
    std::vector<int> bad;
    bool ok = true;
    std::string value;
    if (candidate) {
        value = candidate->toStdString();
        ok = kv->checkValue(index, value, &why, &bad);
    } else {
        value = kv->getValue(index, &ok, &bad, &why);
    }
    if (bad_fields) {
        bad_fields->clear();
        for (int b : bad)
            bad_fields->append(b);
    }
    if (message)
        *message = QString::fromStdString(why);
    if (!ok)
        return false;
    // the fields of colours and fonts against this library's parsers
    const HLKv_Entry* e = kv->entry(index);
    if (!e || !e->sound || e->constraints.empty())
        return true;
    const std::vector<std::string> fields = HLKv::splitFields(value, e->constraints.size());
    for (size_t f = 0; f < e->constraints.size() && f < fields.size(); f++) {
        const int type = e->constraints[f].type;
        if ((type == HLKV_COLOR || type == HLKV_FONT) && !checkField(type, fields[f])) {
            if (bad_fields)
                bad_fields->append(static_cast<int>(f));
            if (message)
                *message = QStringLiteral("'%1' is not a %2").arg(QString::fromStdString(fields[f]),
                                                                  type == HLKV_COLOR ? "colour" : "font");
            return false;
        }
    }
    return true;
}

QString VXKvTreeview::valueType(int index) const
{
    const HLKv_Entry* e = kv->entry(index);
    if (!e || !e->sound || e->constraints.empty())
        return QStringLiteral("unrecognized");
    switch (e->constraints.front().type) {
    case HLKV_STRING:
        return QStringLiteral("string");
    case HLKV_INT:
        return QStringLiteral("int");
    case HLKV_REAL:
        return QStringLiteral("float");
    case HLKV_COLOR:
        return QStringLiteral("color");
    case HLKV_FONT:
        return QStringLiteral("font");
    case HLKV_REGEX:
        return QStringLiteral("regex");
    default:
        return QStringLiteral("unrecognized");
    }
}

void VXKvTreeview::showColumn(int column, bool show)
{
    setColumnHidden(column, !show);
}

void VXKvTreeview::showNoninlineComments(bool show)
{
    // rows are shown after a model reset: a walk is needed only to hide
    // them or to show hidden ones
    if (!vxmodel || show == !comments_hidden)
        return;
    comments_hidden = !show;
    iterate([this, show](const QModelIndex& index) {
        const VXKvTreeviewItem* item = vxmodel->itemOf(index);
        if (item->itemKvIndex < 0)
            setRowHidden(index.row(), index.parent(), !show);
    });
}

void VXKvTreeview::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles)
{
    QTreeView::dataChanged(topLeft, bottomRight, roles);
    viewport()->update();
}
