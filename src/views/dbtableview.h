// A table view over a table or view of the record store.
//
// Columns are given by two keys (class "VXDbTableview"):
//
//   column_names &Tbl{          the columns in display order
//       time
//       mb
//   }
//   column_definitions &Arr{    one block per column
//       time &Arr{
//           source         epoch2str(time, "%Y-%m-%d %H:%M:%S")
//           sort           time            # keys for rssort(); none: not sortable
//           label          Time            # default: the column's name
//           text_template  0000-00-00 00:00:00   # width sample; "0": none
//           format         %s              # one printf format per source part
//           alignment      w               # e right, w left, c centre
//       }
//   }
//
// source holds one or more expressions separated by ";" (a ";" inside
// quotes belongs to its expression), evaluated for the row's record and
// joined.  Data column i and header section i are the i-th name of
// column_names; the column count is that of the names with a definition.  A plain field holding its null value shows
// nothing; an expression that fails shows "err".  Sorting a column makes a
// sorted view of the store (freed when the next sort replaces it) and
// shows the rows in its order: no sort ever runs across the table in Qt.
// A bad key registers its message and keeps the earlier columns.
#pragma once

#include "toolkit/store/recordstore.h"
#include "views/tableview.h"
#include "vxplot_export.h"

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

// One column of a database table view, as its definition gives it.
struct VxDbColumn
{
    QStringList source;     // expressions, at least one
    QString sort;           // rssort() keys separated by white space; empty: not sortable
    QString label;          // title; empty: the column's name
    QString text_template;  // width sample; empty or "0": none
    QStringList format;     // printf formats by source part; may be shorter
    QString alignment;      // "e", "w", "c" or empty
};

class VXPLOT_EXPORT VXDbTableview : public VXTableview
{
    Q_OBJECT
public:
    // A view of db (a table or a view of the store, record and field
    // ignored).  It shows no columns until column_names and
    // column_definitions are set.
    VXDbTableview(QWidget* parent, Rsptr db);
    ~VXDbTableview() override;

    QVariant callback(QStringList args) override;
    // Told of a selected row; nothing here.
    virtual void selectionCallback(int& row);

    // Size the table from the store and the columns; rebuild column widths.
    // 0, or -1 with a registered error when the record count fails.
    int setTable();

    // The text of a cell: row of the model, data column.  "err" when an
    // expression fails (the register is then cleared).
    QString cellText(int row, int column);

    // Parse the text of the keys (as configure() does).  0 on success, -1 with
    // the key's message and nothing changed.
    int parseColumnNames(const char* value);
    int parseColumnDefinitions(const char* value);

    Rsptr db;                 // the view being shown
    Rsptr dbs;                // the same view sorted; equal to db when unsorted
    int rssfree = 0;          // non-zero when dbs is a view this object frees
    QStringList collist;      // names of columns in display order
    QHash<QString, QHash<QString, QString>> colhash;  // column name to its definition

protected:
    // The store's answer to "sort": column -1 undoes the order.
    void sortColumn(int column, int reverse);

private:
    // The columns of collist that have a definition, in display order.
    QStringList definedColumns() const;
    // The record pointer of row: the table's record when the row has been
    // through a sort, else the row of db.
    Rsptr rowPointer(int row);
    void freeSorted();
    // Registers the keys column_names and column_definitions.
    void registerColumnKeys();

    Rsptr dbtable;         // the table whose records db lists (db itself for a table)
    QSet<QString> fields;  // field names of that table
};

// Split a column definition block into its parts (source and format on ";").
VXPLOT_EXPORT VxDbColumn VX_DbColumn(const QHash<QString, QString>& definition);

// Format value of kind (RSEX_BOOLEAN ... RSEX_STRING) with format, a printf
// format of at most one conversion; an empty format takes the default of the
// kind.  The value is converted to what the conversion letter wants (a real
// for "%f", an integer for "%d", text for "%s").  A format that is not one
// safe conversion gives the default form.
VXPLOT_EXPORT QString VX_DbFormatValue(const Rsvalue& value, int kind, const QString& format);

// 1 when format holds at most one printf conversion among d i o u x X c
// e E f F g G a A s (with flags, width and precision below 1000, no "*",
// no length letters other than l, ll, h), and otherwise only "%%" and
// text; 0 otherwise.
VXPLOT_EXPORT int VX_DbFormatIsSafe(const QString& format);
