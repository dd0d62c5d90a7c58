// A table widget that holds no data of its own.
//
// Every cell text, colour, alignment and column title, and the decision to
// sort, come from one virtual function, callback(), which takes a list of
// words and answers a QVariant.  A subclass answers from its own store, so a
// table of a hundred thousand rows opens at once: text is asked for only
// when a cell is painted, and nothing is cached.
//
// Words put to callback() (row and column joined by one blank, "%1 %2"):
//   "headerdata", section, "horizontal" | "vertical"   the title
//   "data", "row column"                                cell text
//   "foreground" | "background", "row column"           a colour, or invalid
//   "alignment", "row column"                           alignment flags, or invalid
//   "accentuated", "row column"                         non-zero: draw accentuated
//   "hover", "row column"                               pointer over the cell
//   "sort", column, "0" | "1" (reverse)                 "disable_sort" keeps the
//                                                       proxy from sorting
//   "selection_changed", row                            a row was selected
// Columns are data columns (the record-number column is never seen); rows
// are rows of the model.  A column of -1 in "sort" means "back to the
// natural order".
//
// Configuration keys (class "VXTableview"): default_cell_height,
// default_cell_width, font, font_header, font_size, color_hover,
// color_hover_selected, color_hover_selected_background,
// color_record_numbers_background, default_hover_interaction,
// show_record_numbers, column_widths.
#pragma once

#include "foundation/configure.h"
#include "vxplot_export.h"

#include <QFont>
#include <QItemSelection>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTableView>
#include <QVariant>

class VXTableviewModel;
class VXTableviewSortProxy;
class VXTableviewDelegate;
class VXTableviewHHeader;

// Largest table a view accepts; setDimensions() refuses more.
inline constexpr int VX_TABLEVIEW_MAX_ROWS = 10000000;
inline constexpr int VX_TABLEVIEW_MAX_COLUMNS = 10000;
// Largest cell width or height applied, in pixels.
inline constexpr int VX_TABLEVIEW_MAX_CELL_SIZE = 10000;

struct VxTableviewParams
{
    int nrows = 0;                     // rows of the model
    int ncols = 0;                     // columns of the model, with the record-number column
    int default_cell_height = -1;      // pixels; -1 for none
    int default_cell_width = -1;       // pixels; -1 for none
    int hover_interaction = 0;         // non-zero: the view tracks the hover cell itself
    int show_record_numbers = 0;       // non-zero: column 0 is the record number
    int auto_record_sort = 0;          // non-zero: the proxy sorts the record column itself
    QFont font;
    QFont font_header;
    QList<QVariant> column_widths;     // per data column: int pixels, or sample text
    VX_Color accentuated_foreground;
    VX_Color accentuated_selected_foreground;
    VX_Color accentuated_selected_background;
    VX_Color record_numbers_background;
};

class VXPLOT_EXPORT VXTableview : public QTableView, public VXConfigure
{
    Q_OBJECT
public:
    explicit VXTableview(QWidget* parent = nullptr);
    ~VXTableview() override;

    // Reset the view's state and repaint; the model is asked again.
    void reset() override;

    // The one source of the table's content; see the words above.  The base
    // answers an invalid value to everything.
    virtual QVariant callback(QStringList args);

    // Resize the model to nrows rows of ncols data columns (one more with
    // record numbers), apply the column widths, reset and repaint.  0; -1
    // with a registered error for a negative size or one past
    // VX_TABLEVIEW_MAX_ROWS or VX_TABLEVIEW_MAX_COLUMNS (nothing changes).
    int setDimensions(int nrows, int ncols);
    // The same with the present size, after a change of show_record_numbers.
    int setDimensions();

    // Width: sum of the column widths; height: header height plus the sum
    // of the row heights.  Pixels, capped at INT_MAX.
    void totalSize(int& w, int& h);

    // Row to record numbers, shown in the record-number column and used by
    // subclasses to find their records.
    void setRecordTab(QList<long> tab);
    // The record of row: the table's entry, or row itself past the table's end.
    int getRecord(int row);
    // The first row whose record is record (a linear search), or record
    // itself when there is none.  For one row at a time.
    int getRow(int record);

    // Apply default_cell_width and column_widths to every column.
    void setColumnWidths();

    // Data columns of the model (without the record-number column).
    int dataColumnCount() const;

    QString handle;
    VXTableviewModel* vxmodel = nullptr;
    VXTableviewSortProxy* sort_proxy = nullptr;
    VXTableviewHHeader* hheader = nullptr;
    VxTableviewParams params;

protected:
    void setAutoRecordSort(int on);
    // Sends "selection_changed" with row.
    virtual void selectionChangedCallback(int row);

    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                     const QList<int>& roles = QList<int>()) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    VXTableviewDelegate* delegate = nullptr;
    friend class VXTableviewModel;
};
