// VXTableview: construction, configuration keys, size, selection and mouse.
#include "views/tableview.h"

#include "toolkit/base/errors.h"
#include "toolkit/params/kv.h"
#include "toolkit/base/strings.h"
#include "views/tableview_model_p.h"

#include <QFontDatabase>
#include <QFontMetrics>
#include <QHeaderView>
#include <QMouseEvent>
#include <QScrollBar>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

// Rows of the vertical header considered when a column is sized to its
// contents; far fewer than a large table holds.
constexpr int resize_precision = 100;

enum {
    IX_CELL_HEIGHT = 0,
    IX_CELL_WIDTH,
    IX_FONT,
    IX_FONT_HEADER,
    IX_FONT_SIZE,
    IX_HOVER,
    IX_RECORD_NUMBERS,
    IX_COLUMN_WIDTHS,
};

VXTableview* viewOf(void* object_ptr)
{
    return static_cast<VXTableview*>(object_ptr);
}

void setChanged(HL_ConfigureSpec* spec)
{
    spec->specFlags |= HL_SPEC_CHANGED;
}

// A whole text as an int, any base by prefix, blanks around allowed.
bool parseInt(const char* s, int* value)
{
    if (!s)
        return false;
    errno = 0;
    char* end = nullptr;
    long v = strtol(s, &end, 0);
    if (end == s || errno == ERANGE || v < INT_MIN || v > INT_MAX)
        return false;
    while (*end == ' ' || *end == '\t' || *end == '\n' || *end == '\r')
        end++;
    if (*end)
        return false;
    *value = static_cast<int>(v);
    return true;
}

int parseOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char*, int offset, void* object_ptr)
{
    VXTableview* view = viewOf(object_ptr);
    VxTableviewParams& p = view->params;
    switch (offset) {
    case IX_CELL_HEIGHT:
    case IX_CELL_WIDTH: {
        int v = 0;
        if (!parseInt(value, &v)) {
            hl_register_error(0, offset == IX_CELL_HEIGHT ? "tableview_parse_cellheight: strtol(%s) error.\n"
                                                          : "tableview_parse_cellwidth: strtol(%s) error.\n",
                              value ? value : "");
            return -1;
        }
        int& field = offset == IX_CELL_HEIGHT ? p.default_cell_height : p.default_cell_width;
        if (field != v) {
            field = v;
            setChanged(spec);
        }
        if (offset == IX_CELL_HEIGHT) {
            QHeaderView* vh = view->verticalHeader();
            if (v >= 1)
                vh->setDefaultSectionSize(std::min(v, VX_TABLEVIEW_MAX_CELL_SIZE));
            else
                vh->resetDefaultSectionSize();
        } else {
            view->setColumnWidths();
        }
        return 0;
    }
    case IX_FONT:
    case IX_FONT_HEADER: {
        QFont font;
        if (!value || !*value) {
            font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        } else {
            VX_Font parsed;
            if (VX_ParseFont(QString::fromUtf8(value), parsed) < 0) {
                hl_register_error(0, "tableview_parse_font: VX_ParseFont(%s) error.\n", value);
                return -1;
            }
            font = parsed.invalid ? QFontDatabase::systemFont(QFontDatabase::FixedFont) : parsed.font;
        }
        QFont& field = offset == IX_FONT ? p.font : p.font_header;
        if (field != font) {
            field = font;
            setChanged(spec);
        }
        if (offset == IX_FONT) {
            view->setFont(font);
        } else {
            view->horizontalHeader()->setFont(font);
            view->setColumnWidths();
        }
        return 0;
    }
    case IX_FONT_SIZE: {
        int v = 0;
        if (!parseInt(value, &v) || v < 1 || v > VX_FONT_MAX_PIXEL_SIZE) {
            hl_register_error(0, "tableview_parse_fontsize: strtol(%s) error.\n", value ? value : "");
            return -1;
        }
        if (p.font.pixelSize() != v) {
            p.font.setPixelSize(v);
            setChanged(spec);
        }
        view->setFont(p.font);
        return 0;
    }
    case IX_HOVER:
    case IX_RECORD_NUMBERS: {
        int v = 0;
        if (!value || HL_ParseBoolean(value, &v) < 0) {
            hl_register_error(0, offset == IX_HOVER ? "tableview_parse_hoverinteraction: VX_ParseBoolean(%s) error.\n"
                                                    : "tableview_parse_recordnumbers: VX_ParseBoolean(%s) error.\n",
                              value ? value : "");
            return -1;
        }
        v = v ? 1 : 0;
        if (offset == IX_HOVER) {
            if (p.hover_interaction != v) {
                p.hover_interaction = v;
                setChanged(spec);
            }
        } else if (p.show_record_numbers != v) {
            const int data_columns = view->dataColumnCount();
            p.show_record_numbers = v;
            view->setDimensions(p.nrows, data_columns);
            setChanged(spec);
        }
        return 0;
    }
    case IX_COLUMN_WIDTHS: {
        Kv* kv = nullptr;
        if (kvcompile(value ? value : "", &kv) < 0) {
            hl_register_error(0, "tableview_parse_columnwidths: kvcompile(%s) error.\n", value ? value : "");
            return -1;
        }
        Tbl* rows = nullptr;
        if (kvparam(kv, "column_widths", KV_TBL_STRINGS, 1, &rows) < 0) {
            kvfree(kv);
            hl_register_error(0, "tableview_parse_columnwidths: kvparam(column_widths) error.\n");
            return -1;
        }
        QList<QVariant> widths;
        for (long i = 0; i < seqcount(rows) && widths.size() < VX_TABLEVIEW_MAX_COLUMNS; i++) {
            const QString row = QString::fromUtf8(static_cast<const char*>(seqget(rows, i))).trimmed();
            if (row.isEmpty() || row.startsWith(QLatin1Char('#')))
                continue;
            bool ok = false;
            const int n = row.toInt(&ok);
            if (ok)
                widths.append(n);
            else
                widths.append(row);
        }
        seqfree(rows, free);
        kvfree(kv);
        if (widths != p.column_widths) {
            p.column_widths = widths;
            setChanged(spec);
        }
        view->setColumnWidths();
        return 0;
    }
    default:
        return -1;
    }
}

char* printOption(HL_ConfigureSpec*, HL_ClientData, char*, int offset, void* object_ptr)
{
    const VxTableviewParams& p = viewOf(object_ptr)->params;
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
    case IX_FONT_HEADER:
        text = p.font_header.toString();
        break;
    case IX_FONT_SIZE:
        text = QString::number(p.font.pixelSize());
        break;
    case IX_HOVER:
        text = p.hover_interaction ? QStringLiteral("yes") : QStringLiteral("no");
        break;
    case IX_RECORD_NUMBERS:
        text = p.show_record_numbers ? QStringLiteral("yes") : QStringLiteral("no");
        break;
    case IX_COLUMN_WIDTHS:
        text = QStringLiteral("column_widths &Tbl{\n");
        for (const QVariant& w : p.column_widths)
            text += QStringLiteral("    ") + w.toString() + QLatin1Char('\n');
        text += QStringLiteral("}\n");
        break;
    default:
        text = QStringLiteral("Illegal offset value");
    }
    return strdup(text.toUtf8().constData());
}

HL_CustomOption opt_tableview = {parseOption, printOption, nullptr};

#define TV_OFFSET(field) static_cast<int>(offsetof(VxTableviewParams, field))

HL_ConfigureSpec tableview_specs[] = {
    {"custom", "default_cell_height", "-1", IX_CELL_HEIGHT, 0, &opt_tableview},
    {"custom", "default_cell_width", "-1", IX_CELL_WIDTH, 0, &opt_tableview},
    {"custom", "font", nullptr, IX_FONT, 0, &opt_tableview},
    {"custom", "font_header", nullptr, IX_FONT_HEADER, 0, &opt_tableview},
    {"custom", "font_size", nullptr, IX_FONT_SIZE, 0, &opt_tableview},
    {"color", "color_hover", "", TV_OFFSET(accentuated_foreground), 0, nullptr},
    {"color", "color_hover_selected", "", TV_OFFSET(accentuated_selected_foreground), 0, nullptr},
    {"color", "color_hover_selected_background", "", TV_OFFSET(accentuated_selected_background), 0, nullptr},
    {"color", "color_record_numbers_background", "lightgrey", TV_OFFSET(record_numbers_background), 0, nullptr},
    {"custom", "default_hover_interaction", "no", IX_HOVER, 0, &opt_tableview},
    {"custom", "show_record_numbers", "no", IX_RECORD_NUMBERS, 0, &opt_tableview},
    {"custom", "column_widths", nullptr, IX_COLUMN_WIDTHS, 0, &opt_tableview},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef TV_OFFSET

}  // namespace

VXTableview::VXTableview(QWidget* parent) : QTableView(parent)
{
    setMouseTracking(true);
    viewport()->setAttribute(Qt::WA_Hover);

    params.font = font();
    vxmodel = new VXTableviewModel(this);
    sort_proxy = new VXTableviewSortProxy(this);
    sort_proxy->setSourceModel(vxmodel);
    hheader = new VXTableviewHHeader(this);
    setHorizontalHeader(hheader);
    params.font_header = hheader->font();
    setModel(sort_proxy);
    delegate = new VXTableviewDelegate(vxmodel, this);
    setItemDelegate(delegate);

    setAlternatingRowColors(true);
    QHeaderView* vh = verticalHeader();
    vh->setSectionResizeMode(QHeaderView::Fixed);
    vh->setResizeContentsPrecision(resize_precision);
    vh->hide();
    hheader->setResizeContentsPrecision(resize_precision);
    // new sections are fixed until setColumnWidths() decides: sizing to
    // contents asks for the text of many rows
    hheader->setSectionResizeMode(QHeaderView::Fixed);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setSortingEnabled(false);
    setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);

    setConfigureSpecs(tableview_specs, reinterpret_cast<char*>(&params), "VXTableview", this, 1);
}

VXTableview::~VXTableview()
{
    releaseConfigureStrings();
}

void VXTableview::reset()
{
    QTableView::reset();
    viewport()->update();
}

QVariant VXTableview::callback(QStringList)
{
    return QVariant();
}

int VXTableview::dataColumnCount() const
{
    return params.show_record_numbers ? std::max(0, params.ncols - 1) : params.ncols;
}

int VXTableview::setDimensions(int nrows, int ncols)
{
    if (nrows < 0 || ncols < 0 || nrows > VX_TABLEVIEW_MAX_ROWS || ncols > VX_TABLEVIEW_MAX_COLUMNS) {
        hl_register_error(0, "VXTableview::setDimensions: Bad table size %d x %d.\n", nrows, ncols);
        return -1;
    }
    vxmodel->reset(nrows, ncols + (params.show_record_numbers ? 1 : 0));
    setColumnWidths();
    reset();
    update();
    return 0;
}

int VXTableview::setDimensions()
{
    return setDimensions(params.nrows, dataColumnCount());
}

void VXTableview::totalSize(int& w, int& h)
{
    long width = 0;
    for (int c = 0; c < params.ncols; c++)
        width += horizontalHeader()->sectionSize(c);
    long height = horizontalHeader()->isHidden() ? 0 : horizontalHeader()->sizeHint().height();
    height += verticalHeader()->length();
    w = static_cast<int>(std::min<long>(width, INT_MAX));
    h = static_cast<int>(std::min<long>(height, INT_MAX));
}

void VXTableview::setRecordTab(QList<long> tab)
{
    vxmodel->record_tab = std::move(tab);
    viewport()->update();
}

int VXTableview::getRecord(int row)
{
    if (row >= 0 && row < vxmodel->record_tab.size())
        return static_cast<int>(vxmodel->record_tab[row]);
    return row;
}

int VXTableview::getRow(int record)
{
    const int i = static_cast<int>(vxmodel->record_tab.indexOf(static_cast<long>(record)));
    return i >= 0 ? i : record;
}

void VXTableview::setColumnWidths()
{
    QHeaderView* header = horizontalHeader();
    const QFontMetrics fm(params.font_header);
    for (int c = 0; c < params.ncols; c++) {
        int width = params.default_cell_width;
        if (params.show_record_numbers && c == 0) {
            width = fm.horizontalAdvance(QStringLiteral("XXXXXX")) + 12;
        } else {
            const int data_column = params.show_record_numbers ? c - 1 : c;
            if (data_column < params.column_widths.size()) {
                const QVariant& v = params.column_widths[data_column];
                if (v.typeId() == QMetaType::Int)
                    width = v.toInt();
                else
                    width = fm.horizontalAdvance(v.toString()) + 12;
            }
        }
        if (width >= 1) {
            header->setSectionResizeMode(c, QHeaderView::Fixed);
            header->resizeSection(c, std::min(width, VX_TABLEVIEW_MAX_CELL_SIZE));
        } else {
            header->setSectionResizeMode(c, QHeaderView::ResizeToContents);
        }
    }
}

void VXTableview::setAutoRecordSort(int on)
{
    params.auto_record_sort = on ? 1 : 0;
}

void VXTableview::selectionChangedCallback(int row)
{
    callback({QStringLiteral("selection_changed"), QString::number(row)});
}

void VXTableview::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected)
{
    if (!vxmodel->noselect) {
        const QModelIndexList list = selected.indexes();
        if (!list.isEmpty()) {
            const QModelIndex source = sort_proxy->mapToSource(list.first());
            if (source.isValid())
                selectionChangedCallback(source.row());
        }
    }
    QTableView::selectionChanged(selected, deselected);
    vxmodel->noselect = 0;
}

void VXTableview::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles)
{
    QTableView::dataChanged(topLeft, bottomRight, roles);
    viewport()->update();
}

void VXTableview::mousePressEvent(QMouseEvent*)
{
    // a drag must not select: selection happens on release
    if (selectionModel())
        selectionModel()->clearCurrentIndex();
}

void VXTableview::mouseMoveEvent(QMouseEvent*)
{
}

void VXTableview::mouseReleaseEvent(QMouseEvent* event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    if (index.isValid())
        setCurrentIndex(index);
    QTableView::mouseReleaseEvent(event);
}
