// VXKvTreeview: a parameter document (HLKv) as a tree.
//
// Every entry is a row: arrays, lists and literal blocks are branches, and
// a line holding only a comment is a row of its own with no entry.  Five
// columns: 0 key, 1 value, 2 constraints, 3 comment, 4 source ("file:line").
// Keys are bold; "&Arr" keys are drawn in color_key_arr, "&Tbl" keys in
// color_key_tbl, literal keys in color_key_literal.  A value that breaks
// the constraints of its entry is red (its tool tip says why), and so is a
// constraint text that does not parse.  Only values are edited here (and
// comments with allow_comment_edits); an edit goes to HLKv::setValue(),
// which keeps the document's value when the new one breaks a constraint:
// the row then shows the refused text in red until it is edited again.
//
// Configuration keys (class "VXKvTreeview"): default_cell_height,
// default_cell_width (pixels, -1 for the style's), allow_key_edits,
// allow_value_edits, allow_constraints_edits, allow_comment_edits, show_keys,
// show_values, show_constraints, show_comments, show_sources,
// show_noninline_comments (booleans), font, font_size, color_key,
// color_key_arr, color_key_tbl, color_key_literal.  Keys and constraints
// are never edited in the view: allow_key_edits and allow_constraints_edits
// are kept for the caller to read but change nothing.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "vxplot_export.h"

#include <QFont>
#include <QList>
#include <QString>
#include <QTreeView>

#include <functional>
#include <memory>

class HLKv;
class VXKvTreeviewModel;

// Column numbers.
enum { VX_KVTREE_KEY = 0, VX_KVTREE_VALUE = 1, VX_KVTREE_CONSTRAINTS = 2, VX_KVTREE_COMMENT = 3, VX_KVTREE_SOURCE = 4 };

struct VxKvTreeviewParams
{
    int default_cell_height = -1;  // pixels, -1 for the style's
    int default_cell_width = -1;
    int allow_key_edits = 0;
    int allow_value_edits = 1;
    int allow_constraints_edits = 0;
    int allow_comment_edits = 0;
    int show_keys = 1;
    int show_values = 1;
    int show_constraints = 0;
    int show_comments = 1;
    int show_sources = 0;
    int show_noninline_comments = 1;
    QFont font;
    QList<int> column_widths;      // pixels by column; below 1 leaves a column alone
    VX_Color key_foreground;
    VX_Color key_arr_foreground;
    VX_Color key_tbl_foreground;
    VX_Color key_literal_foreground;
};

class VXPLOT_EXPORT VXKvTreeview : public QTreeView, public VXConfigure
{
    Q_OBJECT
public:
    // A view of kv, which the caller keeps alive and frees.
    VXKvTreeview(QWidget* parent, HLKv* kv);
    // A view of a document of its own: parameter text when text holds a new
    // line, otherwise the name of a parameter file.  Throws "Exception"
    // after registering why the document did not load.
    VXKvTreeview(QWidget* parent, const QString& text);
    ~VXKvTreeview() override;

    // Build the tree again from the document (after it changed behind the
    // view's back).
    void redraw();
    // Call visitor with every index of column 0, parents before children.
    void iterate(const std::function<void(const QModelIndex&)>& visitor);
    // Check entry index: the candidate when given, else its present value.
    // False when the document refuses it or a colour or font field does not
    // parse; message and bad_fields (fields from 0) then say why.  The
    // error register is left as it was.
    bool checkValue(int index, const QString* candidate, QString* message, QList<int>* bad_fields);
    // The type word of the first constraint of an entry: "string", "int",
    // "float", "color", "font", "regex", or "unrecognized" (also for a bool,
    // an enumeration, an unsound text or none).
    QString valueType(int index) const;

    // Show or hide a column (one of the VX_KVTREE_ numbers) or the comment
    // rows; the show_ keys end here.
    void showColumn(int column, bool show);
    void showNoninlineComments(bool show);

    HLKv* document() const { return kv; }

    QString handle;
    VXKvTreeviewModel* vxmodel = nullptr;
    HLKv* kv = nullptr;
    VxKvTreeviewParams params;

protected:
    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                     const QList<int>& roles = QList<int>()) override;

private:
    void init();
    std::unique_ptr<HLKv> owned_kv;
    bool comments_hidden = false;  // some comment rows are hidden now
};
