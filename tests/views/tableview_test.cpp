// The model-less table view: the callback protocol, the record-number
// column, on-demand cell text for a large table, the header's sort cycle,
// selection on release, configuration keys and accentuated cells.
#include "support/testsupport.h"

#include "views/tableview.h"
#include "views/tableview_model_p.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QImage>
#include <QHoverEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTest>

#include <algorithm>
#include <tuple>

namespace {

// A view that answers every word from its arguments and writes down what it
// was asked.
class RecordingView : public VXTableview
{
public:
    QVariant callback(QStringList args) override
    {
        calls.append(args);
        const QString& word = args.value(0);
        if (word == QLatin1String("headerdata"))
            return QStringLiteral("H%1%2").arg(args.value(1), args.value(2).left(1));
        if (word == QLatin1String("data")) {
            const QStringList rc = args.value(1).split(QLatin1Char(' '));
            return QStringLiteral("r%1c%2").arg(rc.value(0), rc.value(1));
        }
        if (word == QLatin1String("alignment"))
            return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
        if (word == QLatin1String("accentuated"))
            return args.value(1) == accentuated_cell ? 1 : 0;
        if (word == QLatin1String("sort"))
            return sort_answer;
        return QVariant();
    }
    // The calls of one word.
    QList<QStringList> callsOf(const QString& word) const
    {
        QList<QStringList> out;
        for (const QStringList& c : calls)
            if (c.value(0) == word)
                out.append(c);
        return out;
    }
    // Size the table, show it at the given size and let it settle.
    int showTable(int width, int height, int rows, int columns)
    {
        resize(width, height);
        const int ret = setDimensions(rows, columns);
        show();
        for (int i = 0; i < 3; i++)
            QApplication::processEvents();
        return ret;
    }
    // The rows of the cells whose text was asked for.
    QList<int> rowsAsked() const
    {
        QList<int> rows;
        for (const QStringList& c : callsOf("data"))
            rows.append(c.value(1).split(' ').value(0).toInt());
        return rows;
    }
    QList<QStringList> calls;
    QString sort_answer = QStringLiteral("disable_sort");
    QString accentuated_cell;  // "row column" drawn accentuated
};


// Click (press and release) the header section at model column c.
void clickHeader(VXTableview* view, int c)
{
    QHeaderView* h = view->horizontalHeader();
    QTest::mouseClick(h->viewport(), Qt::LeftButton, {}, {h->sectionViewportPosition(c) + h->sectionSize(c) / 2, h->height() / 2});
}

QPoint cellCenter(VXTableview* view, int row, int column)
{
    return view->visualRect(view->model()->index(row, column)).center();
}

void sendMouse(VXTableview* view, QEvent::Type type, QPoint pos)
{
    const Qt::MouseButtons buttons = type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton;
    QMouseEvent e(type, pos, view->viewport()->mapToGlobal(pos), Qt::LeftButton, buttons, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &e);
}

}  // namespace

TEST(TableviewProtocol, ModelAnswersThroughCallbackWords)
{
    RecordingView view;
    ASSERT_EQ(view.setDimensions(10, 3), 0);
    QAbstractItemModel* m = view.vxmodel;
    EXPECT_EQ(m->rowCount(), 10);
    EXPECT_EQ(m->columnCount(), 3);

    // word: the question asked; null: none, and an invalid answer
    struct { const char* name; int role; const char* word; } cases[] = {
        {"display", Qt::DisplayRole, "data"},              {"foreground", Qt::ForegroundRole, "foreground"},
        {"background", Qt::BackgroundRole, "background"},  {"alignment", Qt::TextAlignmentRole, "alignment"},
        {"accentuated", Qt::UserRole, "accentuated"},      {"decoration", Qt::DecorationRole, nullptr},
        {"tooltip", Qt::ToolTipRole, nullptr},             {"font", Qt::FontRole, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        view.calls.clear();
        const QVariant v = m->data(m->index(4, 2), c.role);
        if (!c.word) {
            EXPECT_TRUE(view.calls.isEmpty());
            EXPECT_FALSE(v.isValid());
            continue;
        }
        ASSERT_EQ(view.calls.size(), 1);
        EXPECT_EQ(view.calls[0], (QStringList{c.word, "4 2"}));
    }
    EXPECT_EQ(m->data(m->index(4, 2)).toString(), "r4c2");

    view.calls.clear();
    EXPECT_EQ(m->headerData(1, Qt::Horizontal).toString(), "H1h");
    EXPECT_EQ(m->headerData(7, Qt::Vertical).toString(), "H7v");
    EXPECT_FALSE(m->headerData(1, Qt::Horizontal, Qt::FontRole).isValid());
    EXPECT_EQ(view.calls, (QList<QStringList>{{"headerdata", "1", "horizontal"}, {"headerdata", "7", "vertical"}}));

    // out-of-range cells, and indices made while the table was larger, ask nothing
    EXPECT_FALSE(m->index(10, 0).isValid());
    const QModelIndex far_row = m->index(9, 1);
    const QModelIndex far_col = m->index(1, 2);
    view.setDimensions(5, 2);
    view.calls.clear();
    EXPECT_FALSE(m->data(far_row).isValid());
    EXPECT_FALSE(m->data(far_col).isValid());
    EXPECT_TRUE(view.calls.isEmpty());
}

TEST(TableviewRecordNumbers, RecordColumnIsShiftedAwayFromSubclass)
{
    RecordingView view;
    ASSERT_EQ(view.configure("show_record_numbers", "yes", nullptr), 0) << takeErrors();
    view.setDimensions(10, 3);
    VXTableviewModel* m = view.vxmodel;
    EXPECT_EQ(m->columnCount(), 4);
    EXPECT_EQ(view.params.ncols, 4);
    EXPECT_EQ(view.dataColumnCount(), 3);

    view.calls.clear();
    EXPECT_EQ(m->data(m->index(3, 0)).toString(), "000003");
    EXPECT_EQ(m->data(m->index(3, 0), Qt::FontRole).value<QFont>(), view.params.font_header);
    EXPECT_EQ(m->data(m->index(3, 0), Qt::BackgroundRole).value<QColor>(), QColor("lightgrey"));
    EXPECT_FALSE(m->data(m->index(3, 0), Qt::ForegroundRole).isValid());
    EXPECT_TRUE(view.calls.isEmpty()) << "column 0 is never put to the callback";

    EXPECT_EQ(m->data(m->index(3, 1)).toString(), "r3c0");
    EXPECT_EQ(m->data(m->index(3, 3)).toString(), "r3c2");
    EXPECT_EQ(m->headerData(0, Qt::Horizontal).toString(), "rec");
    EXPECT_EQ(m->headerData(1, Qt::Horizontal).toString(), "H0h");
    EXPECT_EQ(m->headerData(3, Qt::Horizontal).toString(), "H2h");

    // the record tab maps rows; rows past its end are their own record
    view.setRecordTab({42, 7});
    EXPECT_EQ(m->data(m->index(0, 0)).toString(), "000042");
    EXPECT_EQ(m->data(m->index(1, 0)).toString(), "000007");
    EXPECT_EQ(m->data(m->index(5, 0)).toString(), "000005");
    EXPECT_EQ(view.getRecord(1), 7);
    EXPECT_EQ(view.getRecord(5), 5);
    EXPECT_EQ(view.getRow(7), 1);
    EXPECT_EQ(view.getRow(99), 99);

    // turning the column off keeps the data columns
    ASSERT_EQ(view.configure("show_record_numbers", "no", nullptr), 0);
    EXPECT_EQ(m->columnCount(), 3);
    EXPECT_EQ(m->data(m->index(3, 0)).toString(), "r3c0");
}

TEST(TableviewModel, LargeTableAsksOnlyForVisibleCells)
{
    RecordingView view;
    view.configure("default_cell_height", "20", "default_cell_width", "80", nullptr);
    ASSERT_EQ(view.showTable(500, 300, 100000, 5), 0);
    EXPECT_FALSE(view.grab().toImage().isNull());
    const QList<QStringList> data = view.callsOf("data");
    ASSERT_FALSE(data.isEmpty());
    EXPECT_TRUE(data.contains(QStringList{"data", "0 0"}));
    QList<int> rows = view.rowsAsked();
    // 300 pixels hold 15 rows of 20; a margin for the style's overdraw
    EXPECT_LT(*std::max_element(rows.begin(), rows.end()), 40);
    EXPECT_LT(data.size(), 2000) << "cell text is made only for visible cells";

    // scrolling to the end asks for the last rows only
    view.calls.clear();
    view.verticalScrollBar()->setValue(view.verticalScrollBar()->maximum());
    QApplication::processEvents();
    view.grab();
    rows = view.rowsAsked();
    EXPECT_TRUE(rows.contains(99999));
    EXPECT_GT(*std::min_element(rows.begin(), rows.end()), 99000);
}

TEST(TableviewModel, SizingToContentsLooksAtFewRows)
{
    RecordingView view;
    view.configure("default_cell_height", "20", nullptr);  // no widths: columns fit their contents
    ASSERT_EQ(view.showTable(500, 300, 100000, 5), 0);
    view.grab();
    EXPECT_EQ(view.horizontalHeader()->sectionResizeMode(0), QHeaderView::ResizeToContents);
    const QList<int> rows = view.rowsAsked();
    ASSERT_FALSE(rows.isEmpty());
    EXPECT_LT(*std::max_element(rows.begin(), rows.end()), 200);
    EXPECT_LT(view.callsOf("data").size(), 5000);
}

TEST(TableviewDelegate, HoverGoesToCallbackOrAccentuatesItself)
{
    for (const char* mode : {"no", "yes"}) {
        SCOPED_TRACE(mode);
        RecordingView view;
        view.configure("default_cell_height", "24", "default_cell_width", "90", "color_hover", "#ff0000",
                       "show_record_numbers", "yes", "default_hover_interaction", mode, nullptr);
        view.showTable(300, 200, 5, 2);
        view.calls.clear();
        const QPoint pos = cellCenter(&view, 2, 2);
        QHoverEvent hover(QEvent::HoverMove, pos, view.viewport()->mapToGlobal(pos), QPoint(-1, -1));
        QApplication::sendEvent(view.viewport(), &hover);
        view.viewport()->repaint();
        const QList<QStringList> hovers = view.callsOf("hover");
        if (QString(mode) == "no") {
            ASSERT_FALSE(hovers.isEmpty());
            EXPECT_TRUE(hovers.contains(QStringList{"hover", "2 1"}));
            for (const QStringList& h : hovers)
                EXPECT_FALSE(h.value(1).endsWith(" -1")) << "the record column is not reported";
            EXPECT_EQ(view.vxmodel->last_hover_row, -1);
        } else {
            EXPECT_TRUE(hovers.isEmpty());
            EXPECT_EQ(view.vxmodel->last_hover_row, 2);
            EXPECT_EQ(view.vxmodel->last_hover_col, 2);
            EXPECT_TRUE(view.vxmodel->accentuated_hash.contains(view.vxmodel->index(2, 2)));
        }
    }
}

TEST(TableviewHeader, SortCycleAscendingDescendingNone)
{
    RecordingView view;
    view.configure("default_cell_width", "60", nullptr);
    view.showTable(400, 200, 10, 3);
    VXTableviewModel* m = view.vxmodel;

    // the model column clicked, what the callback is asked, and sort_order_col/reverse after it
    struct { const char* name; int click; QStringList sort; int col; int reverse; } steps[] = {
        {"first click ascends", 1, {"sort", "1", "0"}, 1, 0},
        {"second click descends", 1, {"sort", "1", "1"}, 1, 1},
        {"third click clears", 1, {"sort", "-1", "0"}, -1, 0},
        {"again ascends", 1, {"sort", "1", "0"}, 1, 0},
        {"other column ascends", 2, {"sort", "2", "0"}, 2, 0},
        {"from ascending to descending", 2, {"sort", "2", "1"}, 2, 1},
        {"other column while descending", 0, {"sort", "0", "0"}, 0, 0},
    };
    for (const auto& s : steps) {
        SCOPED_TRACE(s.name);
        view.calls.clear();
        clickHeader(&view, s.click);
        const QList<QStringList> sorts = view.callsOf("sort");
        ASSERT_EQ(sorts.size(), 1);
        EXPECT_EQ(sorts[0], s.sort);
        EXPECT_EQ(m->sort_order_col, s.col);
        EXPECT_EQ(m->sort_order_reverse, s.reverse);
        EXPECT_EQ(view.horizontalHeader()->isSortIndicatorShown(), s.col >= 0);
    }
}

TEST(TableviewHeader, RecordColumnShiftsSortColumns)
{
    RecordingView view;
    view.configure("show_record_numbers", "yes", "default_cell_width", "60", nullptr);
    view.showTable(400, 200, 10, 3);
    view.calls.clear();
    clickHeader(&view, 2);
    clickHeader(&view, 0);
    // the record column asks for the natural order
    EXPECT_EQ(view.callsOf("sort"), (QList<QStringList>{{"sort", "1", "0"}, {"sort", "-1", "0"}}));
}

TEST(TableviewProxy, SortRunsOnlyWhenTheCallbackAllowsIt)
{
    RecordingView view;
    view.setDimensions(10, 2);
    QAbstractItemModel* proxy = view.model();

    view.sort_answer = "disable_sort";
    view.hheader->setSortColumn(0, 1);
    EXPECT_EQ(proxy->index(0, 0).data().toString(), "r0c0") << "no Qt sort when disabled";

    view.sort_answer = "sort";
    view.hheader->setSortColumn(0, 1);
    EXPECT_EQ(proxy->index(0, 0).data().toString(), "r9c0");
    view.hheader->setSortColumn(0, 0);
    EXPECT_EQ(proxy->index(0, 0).data().toString(), "r0c0");
    view.hheader->setSortColumn(0, 1);
    view.hheader->setSortColumn(-1, 0);
    EXPECT_EQ(proxy->index(0, 0).data().toString(), "r0c0") << "no sort column: natural order";
}

TEST(TableviewSelection, SelectsOnReleaseAndReportsModelRow)
{
    RecordingView view;
    view.configure("default_cell_height", "20", "default_cell_width", "60", nullptr);
    view.showTable(400, 300, 10, 3);

    view.calls.clear();
    sendMouse(&view, QEvent::MouseButtonPress, cellCenter(&view, 2, 1));
    EXPECT_TRUE(view.callsOf("selection_changed").isEmpty()) << "a press alone selects nothing";
    EXPECT_FALSE(view.selectionModel()->hasSelection());
    sendMouse(&view, QEvent::MouseMove, cellCenter(&view, 4, 1));
    EXPECT_TRUE(view.callsOf("selection_changed").isEmpty()) << "a drag selects nothing";
    sendMouse(&view, QEvent::MouseButtonRelease, cellCenter(&view, 2, 1));
    EXPECT_EQ(view.callsOf("selection_changed"), (QList<QStringList>{{"selection_changed", "2"}}));

    // through a reversed proxy, the row of the model is reported
    view.sort_answer = "sort";
    view.hheader->setSortColumn(0, 1);
    view.calls.clear();
    sendMouse(&view, QEvent::MouseButtonPress, cellCenter(&view, 0, 1));
    sendMouse(&view, QEvent::MouseButtonRelease, cellCenter(&view, 0, 1));
    EXPECT_EQ(view.callsOf("selection_changed"), (QList<QStringList>{{"selection_changed", "9"}}));

    // noselect holds back one callback
    view.calls.clear();
    view.vxmodel->noselect = 1;
    view.selectRow(3);
    EXPECT_TRUE(view.callsOf("selection_changed").isEmpty());
    EXPECT_EQ(view.vxmodel->noselect, 0);
}

TEST(TableviewConfigure, BadValuesKeepEarlierStateAndAnEmptyFontIsTheFixedFont)
{
    RecordingView view;
    ASSERT_EQ(view.configure("default_cell_height", "0x20", "default_cell_width", "010", "font_size", "15", nullptr), 0)
        << takeErrors();
    const auto& p = view.params;
    EXPECT_EQ(std::make_tuple(p.default_cell_height, p.default_cell_width, p.font.pixelSize()),
              std::make_tuple(32, 8, 15)) << "any base by prefix";
    view.configure("column_widths", "column_widths &Tbl{\n40\n}\n", nullptr);
    const QList<QVariant> widths = view.params.column_widths;

    struct { const char* name; const char* key; const char* value; const char* message; } cases[] = {
        {"cell height", "default_cell_height", "tall", "tableview_parse_cellheight: strtol(tall) error.\n"},
        {"cell height trailing", "default_cell_height", "12px", "tableview_parse_cellheight: strtol(12px) error.\n"},
        {"cell width", "default_cell_width", "", "tableview_parse_cellwidth: strtol() error.\n"},
        {"font size", "font_size", "big", "tableview_parse_fontsize: strtol(big) error.\n"},
        {"font size zero", "font_size", "0", "tableview_parse_fontsize: strtol(0) error.\n"},
        {"font", "font", "Sans,huge", "tableview_parse_font: VX_ParseFont(Sans,huge) error.\n"},
        {"font header", "font_header", "Sans,12,heavyish", "tableview_parse_font: VX_ParseFont(Sans,12,heavyish) error.\n"},
        {"widths not compiled", "column_widths", "column_widths &Tbl{\n12\n", "tableview_parse_columnwidths: kvcompile(column_widths &Tbl{\n12\n) error.\n"},
        {"widths absent", "column_widths", "widths &Tbl{\n12\n}\n", "tableview_parse_columnwidths: kvparam(column_widths) error.\n"},
        {"widths not a list", "column_widths", "column_widths 12\n", "tableview_parse_columnwidths: kvparam(column_widths) error.\n"},
    };
    const QFont font = view.params.font;
    const QFont font_header = view.params.font_header;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        hl_clear_register(0);
        expectConfigureRefused(&view, c.key, c.value, c.message);
        EXPECT_EQ(std::tie(p.default_cell_height, p.default_cell_width), std::make_tuple(32, 8));
        EXPECT_EQ(std::tie(p.font, p.font_header, p.column_widths), std::tie(font, font_header, widths));
    }
    // an empty font takes the system's fixed font
    ASSERT_EQ(view.configure("font", "Serif,17", nullptr), 0) << takeErrors();
    EXPECT_EQ(view.params.font.pixelSize(), 17);
    ASSERT_EQ(view.configure("font", "", nullptr), 0) << takeErrors();
    EXPECT_EQ(view.params.font, QFontDatabase::systemFont(QFontDatabase::FixedFont));
    EXPECT_EQ(view.font(), view.params.font);
}

TEST(TableviewConfigure, ColumnWidthsCoverOnlyTheirColumnsAndSumToTheTotalSize)
{
    RecordingView view;
    view.configure("default_cell_width", "50", "show_record_numbers", "yes", nullptr);
    const char* widths = "column_widths &Tbl{\n  80  \n\n\\# a comment row\nWWWW\n}\n";
    ASSERT_EQ(view.configure("column_widths", widths, nullptr), 0) << takeErrors();
    ASSERT_EQ(view.params.column_widths.size(), 2);
    EXPECT_EQ(view.params.column_widths[0].typeId(), QMetaType::Int);
    EXPECT_EQ(view.params.column_widths[1].toString(), "WWWW");

    view.setDimensions(3, 4);
    const QFontMetrics fm(view.params.font_header);
    QHeaderView* h = view.horizontalHeader();
    struct { const char* name; int column; int width; } cases[] = {
        {"record numbers", 0, fm.horizontalAdvance("XXXXXX") + 12},
        {"pixels", 1, 80},
        {"sample text", 2, fm.horizontalAdvance("WWWW") + 12},
        {"default", 3, 50},
        {"default again", 4, 50},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(h->sectionSize(c.column), c.width);
        EXPECT_EQ(h->sectionResizeMode(c.column), QHeaderView::Fixed);
    }

    // without a width the column fits its contents
    view.configure("default_cell_width", "-1", nullptr);
    EXPECT_EQ(h->sectionResizeMode(4), QHeaderView::ResizeToContents);
    EXPECT_EQ(h->sectionResizeMode(1), QHeaderView::Fixed);
    // the total size sums columns and rows
    RecordingView sized;
    sized.configure("default_cell_height", "20", "column_widths", "column_widths &Tbl{\n50\n60\n}\n", nullptr);
    sized.setDimensions(4, 2);
    int total_w = 0, total_h = 0;
    sized.totalSize(total_w, total_h);
    EXPECT_EQ(QSize(total_w, total_h), QSize(110, sized.horizontalHeader()->sizeHint().height() + 80));
    EXPECT_LT(sized.setDimensions(-1, 2), 0);
    EXPECT_LT(sized.setDimensions(VX_TABLEVIEW_MAX_ROWS + 1, 2), 0);
    takeErrors();
    EXPECT_EQ(sized.vxmodel->rowCount(), 4) << "a refused size changes nothing";
}

TEST(TableviewDelegate, AccentuatedCellTakesHoverColours)
{
    RecordingView view;
    view.configure("default_cell_height", "24", "default_cell_width", "90", "color_hover", "#ff0000", nullptr);
    view.accentuated_cell = "1 0";
    view.showTable(300, 200, 5, 2);
    QImage image = view.grab().toImage();

    const QRect cell = view.visualRect(view.model()->index(1, 0)).translated(view.viewport()->pos());
    const QRect plain = view.visualRect(view.model()->index(2, 0)).translated(view.viewport()->pos());
    auto redPixels = [&](QRect r) {
        int n = 0;
        for (int y = r.top(); y <= r.bottom(); y++)
            for (int x = r.left(); x <= r.right(); x++) {
                const QColor c = image.pixelColor(x, y);
                n += c.red() > 200 && c.green() < 80 && c.blue() < 80;
            }
        return n;
    };
    EXPECT_GT(redPixels(cell), 5) << "the accentuated text is drawn in color_hover";
    EXPECT_EQ(redPixels(plain), 0);
    EXPECT_TRUE(view.vxmodel->accentuated_hash.contains(view.vxmodel->index(1, 0)));

    view.accentuated_cell = "3 1";
    view.viewport()->update();
    view.grab();
    EXPECT_FALSE(view.vxmodel->accentuated_hash.contains(view.vxmodel->index(1, 0)));
    EXPECT_TRUE(view.vxmodel->accentuated_hash.contains(view.vxmodel->index(3, 1)));
}
