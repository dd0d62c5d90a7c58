// The model, sort proxy, delegate and header of VXTableview.
//
// The model stores nothing but the table's size: every answer is a question
// put to the view's callback() when Qt asks for it.  The proxy keeps Qt's
// sort out of the way unless the view's callback lets it run.  The
// delegate draws hover accentuation; the header runs the three-step sort
// cycle (ascending, descending, none).
#pragma once

#include <QAbstractTableModel>
#include <QHash>
#include <QHeaderView>
#include <QList>
#include <QModelIndex>
#include <QSortFilterProxyModel>
#include <QStyledItemDelegate>

class VXTableview;

class VXTableviewModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    explicit VXTableviewModel(VXTableview* tableview);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // Store the size inside a model reset: rows, and columns counting the
    // record-number column.
    void reset(int nrows, int ncols);

    VXTableview* tableview;
    QHash<QModelIndex, int> accentuated_hash;  // source cells now drawn accentuated
    int last_hover_row = -1;                   // source row, or -1
    int last_hover_col = -1;                   // model column, or -1
    int sort_order_col = -1;                   // model column, -1 for none
    int sort_order_reverse = 0;
    int noselect = 0;                          // non-zero: the next selection sends no callback
    QList<long> record_tab;                    // row to record
};

class VXTableviewSortProxy : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    explicit VXTableviewSortProxy(VXTableview* tableview);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    // Undo any order, then ask the view's callback ("sort") whether Qt is to
    // sort column; column -1 asks for the natural order.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    VXTableview* tableview;
};

class VXTableviewDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    VXTableviewDelegate(VXTableviewModel* model, QObject* parent);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    VXTableviewModel* model;
};

class VXTableviewHHeader : public QHeaderView
{
    Q_OBJECT
public:
    explicit VXTableviewHHeader(VXTableview* tableview);

    // Sort by model column (-1: none), in reverse when reverse is 1; show the
    // indicator, remember the order and reset the view.
    void setSortColumn(int column, int reverse);

    VXTableview* tableview;

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    int pressed_section = -1;
};
