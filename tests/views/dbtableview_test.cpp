// The database table view: the column definition language over a small CSS
// database, null and failing cells, sorting through the store, a view with
// no rows, and the messages of bad definitions.
#include "support/testsupport.h"

#include "toolkit/store/recordstore_fixture.h"
#include "views/dbtableview.h"
#include "views/tableview_model_p.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontMetrics>
#include <QImage>

#include <cmath>
#include <cstring>
#include <string>
#include <utility>

namespace {

const char* const kDefinitions =
    "column_definitions &Arr{\n"
    "    lat &Arr{\n        source lat\n        label Latitude\n        format %.2f\n        alignment e\n    }\n"
    "    mb &Arr{\n        source mb\n        sort mb\n        format %.1f\n    }\n"
    "    idauth &Arr{\n        source orid; auth\n        format %d-;%s\n        alignment c\n    }\n"
    "    root &Arr{\n        source sqrt(depth - 5)\n        format %.3f\n    }\n"
    "    time &Arr{\n        source time\n        sort time\n"
    "        text_template 0000000000.000000\n        alignment w\n    }\n"
    "    etype &Arr{\n        source etype\n    }\n"
    "    day &Arr{\n        source epoch2str(time, \"%Y;%j\") ; \" \" + etype\n    }\n"
    "}\n";

// A view that notes the rows it is told of.
class NotingDbView : public VXDbTableview
{
public:
    using VXDbTableview::VXDbTableview;
    void selectionCallback(int& row) override { rows.append(row); }
    QList<int> rows;
};

class DbTableviewTest : public testing::Test
{
protected:
    void SetUp() override
    {
        hl_clear_register(0);
        folder.table("db", "origin", {rsfixture::kOrigin1, rsfixture::kOrigin2, rsfixture::kOrigin3});
        db = rsopen(folder.base().c_str(), "css3.0", RS_READ);
        ASSERT_FALSE(rsisinvalid(db)) << takeErrors();
        origin = rslookup(db, nullptr, "origin", nullptr, nullptr);
        ASSERT_FALSE(rsisinvalid(origin)) << takeErrors();
    }
    void TearDown() override
    {
        rsclose(db);
        hl_clear_register(0);
    }
    // A view of origin with the test's columns.
    std::unique_ptr<NotingDbView> makeView(const char* names)
    {
        auto view = std::make_unique<NotingDbView>(nullptr, origin);
        EXPECT_EQ(view->configure("column_definitions", kDefinitions, nullptr), 0) << takeErrors();
        EXPECT_EQ(view->configure("column_names", names, nullptr), 0) << takeErrors();
        return view;
    }
    QString cell(VXTableview* view, int row, int column)
    {
        return view->vxmodel->index(row, column).data().toString();
    }

    rsfixture::Folder folder;
    Rsptr db{};
    Rsptr origin{};
};

const char* const kAllNames = "column_names &Tbl{\n  lat\n  mb\n\n  # not a column\n  idauth\n  root\n  time\n  etype\n}\n";

}  // namespace

TEST_F(DbTableviewTest, ColumnLanguageGivesCellTexts)
{
    auto view = makeView("column_names &Tbl{\n  lat\n  mb\n\n  \\# not a column\n  idauth\n  root\n  time\n  etype\n day\n}\n");
    EXPECT_EQ(view->collist, (QStringList{"lat", "mb", "idauth", "root", "time", "etype", "day"}));
    ASSERT_EQ(view->vxmodel->rowCount(), 3);
    ASSERT_EQ(view->vxmodel->columnCount(), 7);

    struct { const char* name; int row; int column; const char* text; } cases[] = {
        {"real with format", 0, 0, "47.74"},                {"negative real", 1, 0, "-33.45"},
        {"field value", 0, 1, "4.5"},                       {"null field is empty", 1, 1, ""},
        {"two parts joined", 0, 2, "1-analyst"},            {"two parts, second row", 1, 2, "2-NEIC"},
        {"expression", 0, 3, "2.236"},                      {"failed expression", 2, 3, "err"},
        {"time without format", 1, 4, "1296400000.000000"}, {"string field", 0, 5, "qb"},
        {"null string field is empty", 1, 5, ""},           {"semicolon inside quotes", 0, 6, "2011;031 qb"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(cell(view.get(), c.row, c.column), QString::fromUtf8(c.text)) << c.name;
    EXPECT_EQ(hl_error_count(), 0) << "a failed cell leaves the register empty";

    QAbstractItemModel* m = view->vxmodel;
    EXPECT_EQ(m->headerData(0, Qt::Horizontal).toString(), "Latitude");
    EXPECT_EQ(m->headerData(1, Qt::Horizontal).toString(), "mb");
    EXPECT_EQ(m->data(m->index(0, 0), Qt::TextAlignmentRole).toInt(), int(Qt::AlignRight | Qt::AlignVCenter));
    EXPECT_EQ(m->data(m->index(0, 2), Qt::TextAlignmentRole).toInt(), int(Qt::AlignHCenter | Qt::AlignVCenter));
    EXPECT_EQ(m->data(m->index(0, 4), Qt::TextAlignmentRole).toInt(), int(Qt::AlignLeft | Qt::AlignVCenter));
    EXPECT_FALSE(m->data(m->index(0, 1), Qt::TextAlignmentRole).isValid());
    EXPECT_FALSE(view->callback({"headerdata", "0", "vertical"}).isValid());
}

TEST_F(DbTableviewTest, ColumnWidthsFromTemplatesAndUndefinedNames)
{
    auto view = makeView("column_names &Tbl{\nlat\ntime\n}\n");
    QHeaderView* h = view->horizontalHeader();
    const QFontMetrics fm(view->params.font_header);
    EXPECT_EQ(h->sectionResizeMode(0), QHeaderView::ResizeToContents) << "no template";
    EXPECT_EQ(h->sectionResizeMode(1), QHeaderView::Fixed);
    EXPECT_EQ(h->sectionSize(1), fm.horizontalAdvance("0000000000.000000") + 12);
    // undefined names are not counted, but headers follow the names
    auto ghost = makeView("column_names &Tbl{\nlat\nghost\ntime\n}\n");
    EXPECT_EQ(ghost->vxmodel->columnCount(), 2);
    EXPECT_EQ(ghost->vxmodel->headerData(1, Qt::Horizontal).toString(), "ghost");
    EXPECT_EQ(cell(ghost.get(), 0, 1), "") << "a name without definition shows nothing";
}

TEST_F(DbTableviewTest, SortingGoesThroughTheStore)
{
    auto view = makeView(kAllNames);
    view->configure("show_record_numbers", "yes", nullptr);
    ASSERT_EQ(view->vxmodel->columnCount(), 7);
    const int time_col = 5;  // model column of "time", after the record numbers

    view->hheader->setSortColumn(time_col, 0);
    EXPECT_EQ(view->vxmodel->record_tab, (QList<long>{1, 0, 2}));
    ASSERT_EQ(view->rssfree, 1);
    const Rsptr first = view->dbs;
    EXPECT_NE(first.table, view->db.table);
    EXPECT_EQ(cell(view.get(), 0, 0), "000001");
    EXPECT_EQ(cell(view.get(), 0, 1), "-33.45");
    EXPECT_EQ(cell(view.get(), 2, 1), "47.74");
    EXPECT_EQ(cell(view.get(), 2, 4), "err") << "the failing record moves with its row";
    // the proxy itself never reorders
    EXPECT_EQ(view->model()->index(0, 0).data().toString(), "000001");

    // sorting again frees the first sorted view
    view->hheader->setSortColumn(time_col, 1);
    EXPECT_EQ(view->vxmodel->record_tab, (QList<long>{2, 0, 1}));
    long n = 0;
    EXPECT_LT(rsquery(first, RS_RECORD_COUNT, &n), 0);
    takeErrors();
    EXPECT_EQ(cell(view.get(), 0, 1), "47.74");

    // by another column
    view->hheader->setSortColumn(2, 0);  // mb: -999 (null), 2.0, 4.5
    EXPECT_EQ(view->vxmodel->record_tab, (QList<long>{1, 2, 0}));
    EXPECT_EQ(cell(view.get(), 0, 2), "");

    // a column without sort keys keeps the order
    view->hheader->setSortColumn(1, 0);
    EXPECT_EQ(view->vxmodel->record_tab, (QList<long>{1, 2, 0}));

    // no sort column: back to the natural order, the sorted view freed
    const Rsptr last = view->dbs;
    view->hheader->setSortColumn(-1, 0);
    EXPECT_TRUE(view->vxmodel->record_tab.isEmpty());
    EXPECT_EQ(view->rssfree, 0);
    EXPECT_EQ(view->dbs.table, view->db.table);
    EXPECT_LT(rsquery(last, RS_RECORD_COUNT, &n), 0);
    takeErrors();
    EXPECT_EQ(cell(view.get(), 0, 1), "47.74");
}

TEST_F(DbTableviewTest, ViewWithNoRowsAcceptsAnyDefinition)
{
    Rsptr event = rslookup(db, nullptr, "event", nullptr, nullptr);
    ASSERT_FALSE(rsisinvalid(event));
    VXDbTableview view(nullptr, event);
    const char* definitions = "column_definitions &Arr{\n a &Arr{\n source no_such_field((\n sort no_such\n }\n}\n";
    ASSERT_EQ(view.configure("column_definitions", definitions, nullptr), 0) << takeErrors();
    ASSERT_EQ(view.configure("column_names", "column_names &Tbl{\na\n}\n", nullptr), 0) << takeErrors();
    EXPECT_EQ(std::make_pair(view.vxmodel->rowCount(), view.vxmodel->columnCount()), std::make_pair(0, 1));
    EXPECT_EQ(view.vxmodel->headerData(0, Qt::Horizontal).toString(), "a");
    view.resize(200, 100);
    EXPECT_FALSE(view.grab().isNull());
    view.hheader->setSortColumn(0, 0);  // the store has nothing to sort
}

TEST_F(DbTableviewTest, BadDefinitionsKeepEarlierColumns)
{
    auto view = makeView(kAllNames);
    const auto colhash = view->colhash;
    const auto collist = view->collist;

    // a definitions text of one column x with the lines given
    auto x = [](const char* lines) { return std::string("column_definitions &Arr{\n x &Arr{\n ") + lines + " }\n}\n"; };
    struct { const char* name; const char* key; std::string value; const char* message; } cases[] = {
        {"names not compiled", "column_names", "column_names &Tbl{\nlat\n", "tableview_parse_coltbl: kvcompile(column_names &Tbl{\nlat\n) error.\n"},
        {"names absent", "column_names", "names &Tbl{\nlat\n}\n", "tableview_parse_coltbl: kvparam(column_names) error.\n"},
        {"definitions not compiled", "column_definitions", "column_definitions &Arr{\n", "tableview_parse_colarr: kvcompile(column_definitions &Arr{\n) error.\n"},
        {"definitions absent", "column_definitions", "columns &Arr{\n}\n", "tableview_parse_colarr: kvparam(column_definitions) error.\n"},
        {"definitions a list", "column_definitions", "column_definitions &Tbl{\nlat\n}\n", "tableview_parse_colarr: kvparam(column_definitions) error.\n"},
        {"column not a block", "column_definitions", "column_definitions &Arr{\n lat lat\n}\n", "tableview_parse_colarr: kvparam(column_definitions:lat) error.\n"},
        {"no source", "column_definitions", x("label X\n"), "tableview_parse_colarr: kvparam(column_definitions:x:source) error.\n"},
        {"bad source", "column_definitions", x("source lat; no_such\n"), "tableview_parse_colarr: column_definitions:x:source: rse_eval(no_such) error.\n"},
        {"sort a block", "column_definitions", x("source lat\n sort &Arr{\n }\n"), "tableview_parse_colarr: kvparam(column_definitions:x:sort) error.\n"},
        {"bad sort", "column_definitions", x("source lat\n sort lat no_such\n"), "tableview_parse_colarr: column_definitions:x:sort: rssort(lat no_such) error.\n"},
        {"label a list", "column_definitions", x("source lat\n label &Tbl{\n }\n"), "tableview_parse_colarr: kvparam(column_definitions:x:label) error.\n"},
        {"text_template a block", "column_definitions", x("source lat\n text_template &Arr{\n }\n"), "tableview_parse_colarr: kvparam(column_definitions:x:text_template) error.\n"},
        {"format a list", "column_definitions", x("source lat\n format &Tbl{\n }\n"), "tableview_parse_colarr: kvparam(column_definitions:x:format) error.\n"},
        {"unsafe format", "column_definitions", x("source lat\n format %s and %s\n"), "tableview_parse_colarr: kvparam(column_definitions:x:format) error.\n"},
        {"alignment a block", "column_definitions", x("source lat\n alignment &Arr{\n }\n"), "tableview_parse_colarr: kvparam(column_definitions:x:alignment) error.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        hl_clear_register(0);
        expectConfigureRefused(view, c.key, c.value.c_str(), c.message);
        EXPECT_EQ(view->colhash, colhash);
        EXPECT_EQ(view->collist, collist);
        EXPECT_EQ(view->vxmodel->columnCount(), 6);
    }
    EXPECT_EQ(cell(view.get(), 0, 0), "47.74");
}

TEST(DbTableviewFormat, ValuesThroughCheckedFormats)
{
    auto value = [](int kind, long i, double d, const char* s) {
        Rsvalue v;
        memset(&v, 0, sizeof v);
        if (kind == RSEX_STRING)
            snprintf(v.s, sizeof v.s, "%s", s);
        else if (kind == RSEX_REAL || kind == RSEX_TIME)
            v.d = d;
        else
            v.i = i;
        return v;
    };
    struct { const char* name; int kind; long i; double d; const char* s; const char* format; const char* expected; } cases[] = {
        {"integer default", RSEX_INTEGER, 42, 0, "", "", "42"},
        {"integer padded", RSEX_INTEGER, 42, 0, "", "%5d", "   42"},
        {"integer with l", RSEX_INTEGER, 7, 0, "", "%ld", "7"},
        {"integer as real", RSEX_INTEGER, 42, 0, "", "%.1f", "42.0"},
        {"real default", RSEX_REAL, 0, 3.7, "", "", "3.700000"},
        {"real as integer", RSEX_REAL, 0, 3.7, "", "%d", "3"},
        {"real as text", RSEX_REAL, 0, 2.5, "", "%s", "2.500000"},
        {"not a number as integer", RSEX_REAL, 0, NAN, "", "%d", "0"},
        {"time default", RSEX_TIME, 0, 1.5, "", "", "1.500000"},
        {"boolean default", RSEX_BOOLEAN, 1, 0, "", "", "true"},
        {"boolean false", RSEX_BOOLEAN, 0, 0, "", "", "false"},
        {"boolean with format", RSEX_BOOLEAN, 1, 0, "", "%d", "1"},
        {"string as is", RSEX_STRING, 0, 0, "abc", "", "abc"},
        {"string padded", RSEX_STRING, 0, 0, "abc", "[%-5s]", "[abc  ]"},
        {"string as integer", RSEX_STRING, 0, 0, "12", "%03d", "012"},
        {"text only", RSEX_INTEGER, 7, 0, "", "n/a %%", "n/a %"},
        {"two conversions", RSEX_INTEGER, 7, 0, "", "%d%d", "7"},
        {"write conversion", RSEX_INTEGER, 7, 0, "", "%n", "7"},
        {"star width", RSEX_INTEGER, 7, 0, "", "%*d", "7"},
        {"width too large", RSEX_INTEGER, 7, 0, "", "%10000d", "7"},
        {"unfinished", RSEX_INTEGER, 7, 0, "", "abc %", "7"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(VX_DbFormatValue(value(c.kind, c.i, c.d, c.s), c.kind, c.format), QString::fromUtf8(c.expected))
            << c.name;
    EXPECT_EQ(VX_DbFormatIsSafe("%8.3lf s"), 1);
    EXPECT_EQ(VX_DbFormatIsSafe("%s%s"), 0);
    EXPECT_EQ(VX_DbFormatIsSafe("%p"), 0);
}

TEST_F(DbTableviewTest, RendersRowsAndReportsTheSelection)
{
    auto view = makeView(kAllNames);
    view->configure("show_record_numbers", "yes", nullptr);
    view->resize(640, 160);
    view->show();
    QApplication::processEvents();
    QImage image = view->grab().toImage();
    EXPECT_FALSE(image.isNull());
    // some dark text pixels in the body
    int dark = 0;
    for (int y = image.height() / 3; y < image.height(); y++)
        for (int x = 0; x < image.width(); x++)
            dark += qGray(image.pixel(x, y)) < 80;
    EXPECT_GT(dark, 50);
    view->selectRow(2);
    EXPECT_EQ(view->rows, QList<int>{2}) << "the selection reaches selectionCallback";
}
