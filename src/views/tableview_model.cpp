// VXTableviewModel, VXTableviewSortProxy and VXTableviewHHeader: every
// answer of the model is a question to the view's callback().
#include "views/tableview_model_p.h"

#include "views/tableview.h"

#include <QColor>
#include <QMouseEvent>

namespace {

QString cellText(int row, int column)
{
    return QStringLiteral("%1 %2").arg(row).arg(column);
}

}  // namespace

// ---- model

VXTableviewModel::VXTableviewModel(VXTableview* tableview_) : QAbstractTableModel(tableview_), tableview(tableview_)
{
}

int VXTableviewModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : tableview->params.nrows;
}

int VXTableviewModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : tableview->params.ncols;
}

void VXTableviewModel::reset(int nrows, int ncols)
{
    beginResetModel();
    tableview->params.nrows = nrows;
    tableview->params.ncols = ncols;
    accentuated_hash.clear();
    last_hover_row = last_hover_col = -1;
    endResetModel();
}

QVariant VXTableviewModel::data(const QModelIndex& index, int role) const
{
    const VxTableviewParams& p = tableview->params;
    int row = index.row();
    int column = index.column();
    if (!index.isValid() || row < 0 || row >= p.nrows || column < 0 || column >= p.ncols)
        return QVariant();
    if (p.show_record_numbers) {
        if (column == 0) {
            switch (role) {
            case Qt::DisplayRole: {
                long record = row < record_tab.size() ? record_tab[row] : row;
                return QString::asprintf("%6.6ld", record);
            }
            case Qt::FontRole:
                return p.font_header;
            case Qt::BackgroundRole:
                if (!p.record_numbers_background.color_name.isEmpty())
                    return p.record_numbers_background.color;
                return QVariant();
            default:
                return QVariant();
            }
        }
        column--;
    }
    const char* word = nullptr;
    switch (role) {
    case Qt::DisplayRole:
        word = "data";
        break;
    case Qt::ForegroundRole:
        word = "foreground";
        break;
    case Qt::BackgroundRole:
        word = "background";
        break;
    case Qt::TextAlignmentRole:
        word = "alignment";
        break;
    case Qt::UserRole:
        word = "accentuated";
        break;
    default:
        return QVariant();
    }
    return tableview->callback({QString::fromLatin1(word), cellText(row, column)});
}

QVariant VXTableviewModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QVariant();
    if (tableview->params.show_record_numbers && orientation == Qt::Horizontal) {
        if (section == 0)
            return QStringLiteral("rec");
        return tableview->callback({QStringLiteral("headerdata"), QString::number(section - 1),
                                    QStringLiteral("horizontal")});
    }
    return tableview->callback({QStringLiteral("headerdata"), QString::number(section),
                                orientation == Qt::Horizontal ? QStringLiteral("horizontal")
                                                              : QStringLiteral("vertical")});
}

// ---- sort proxy

VXTableviewSortProxy::VXTableviewSortProxy(VXTableview* tableview_)
    : QSortFilterProxyModel(tableview_), tableview(tableview_)
{
    // a change of data must never start a sort over the whole table
    setDynamicSortFilter(false);
}

int VXTableviewSortProxy::rowCount(const QModelIndex& parent) const
{
    if (parent.isValid() || !sourceModel())
        return 0;
    return sourceModel()->rowCount();
}

int VXTableviewSortProxy::columnCount(const QModelIndex& parent) const
{
    if (parent.isValid() || !sourceModel())
        return 0;
    return sourceModel()->columnCount();
}

void VXTableviewSortProxy::sort(int column, Qt::SortOrder order)
{
    QSortFilterProxyModel::sort(-1, order);
    const VxTableviewParams& p = tableview->params;
    int sent = column;
    if (p.show_record_numbers && column >= 0) {
        if (column == 0) {
            if (p.auto_record_sort) {
                QSortFilterProxyModel::sort(0, order);
                return;
            }
            sent = -1;
        } else {
            sent = column - 1;
        }
    }
    if (sent < -1)
        sent = -1;
    QVariant answer = tableview->callback({QStringLiteral("sort"), QString::number(sent),
                                           QString::number(order == Qt::DescendingOrder ? 1 : 0)});
    if (answer.toString() == QLatin1String("disable_sort") || column < 0)
        return;
    QSortFilterProxyModel::sort(column, order);
}

// ---- header

VXTableviewHHeader::VXTableviewHHeader(VXTableview* tableview_)
    : QHeaderView(Qt::Horizontal, tableview_), tableview(tableview_)
{
    setSectionsClickable(true);
    setSortIndicatorShown(false);
}

void VXTableviewHHeader::setSortColumn(int column, int reverse)
{
    VXTableviewModel* m = tableview->vxmodel;
    const Qt::SortOrder order = reverse ? Qt::DescendingOrder : Qt::AscendingOrder;
    m->sort_order_reverse = reverse ? 1 : 0;
    m->sort_order_col = column < 0 ? -1 : column;
    tableview->sort_proxy->sort(m->sort_order_col, order);
    if (m->sort_order_col >= 0) {
        setSortIndicator(m->sort_order_col, order);
        setSortIndicatorShown(true);
    } else {
        setSortIndicatorShown(false);
    }
    tableview->reset();
}

void VXTableviewHHeader::mousePressEvent(QMouseEvent* event)
{
    pressed_section = logicalIndexAt(event->position().toPoint());
    QHeaderView::mousePressEvent(event);
}

void VXTableviewHHeader::mouseReleaseEvent(QMouseEvent* event)
{
    QHeaderView::mouseReleaseEvent(event);
    const int column = logicalIndexAt(event->position().toPoint());
    const int pressed = pressed_section;
    pressed_section = -1;
    if (event->button() != Qt::LeftButton || column < 0 || column != pressed)
        return;
    VXTableviewModel* m = tableview->vxmodel;
    if (m->sort_order_col != column)
        setSortColumn(column, 0);
    else if (!m->sort_order_reverse)
        setSortColumn(column, 1);
    else
        setSortColumn(-1, 0);
}
