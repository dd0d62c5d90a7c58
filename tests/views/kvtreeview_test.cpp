// The parameter tree view and the options dialog, seen from outside: the
// model's contract, colours, edits, the show and allow keys, the dialog's
// parts and its status line.
#include "support/testsupport.h"

#include "views/kvtreeview_model_p.h"

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const char* sample =
    "# Map defaults\n"
    "title        Station map            # shown on top\n"
    "linewidth    2                      #@ int[0,10]  # pixels\n"
    "background   notacolour             #@ color\n"
    "scale        lin                    #@ {lin|log}\n"
    "broken       1                      #@ int[\n"
    "layers &Arr{\n"
    "    # the coast line\n"
    "    coasts &Arr{\n"
    "        outline_color   \\#000000    #@ color\n"
    "    }\n"
    "}\n"
    "rows &Tbl{\n"
    "    rt neb 1.0v-2\n"
    "}\n"
    "script &Literal{\n"
    "echo hello\n"
    "}\n";

// The index of the first row whose key column reads key, searching the
// whole tree.
QModelIndex findKey(VXKvTreeview& view, const QString& key)
{
    QModelIndex found;
    view.iterate([&](const QModelIndex& index) {
        if (!found.isValid() && index.data().toString() == key)
            found = index;
    });
    return found;
}

QModelIndex valueOf(const QModelIndex& key)
{
    return key.sibling(key.row(), VX_KVTREE_VALUE);
}

// The sample compiled into kv.
struct KvTreeview : testing::Test
{
    HLKv kv;
    void SetUp() override { ASSERT_EQ(kv.compile(sample), 0); }
};
using KvOptionsDialog = KvTreeview;

} // namespace

TEST_F(KvTreeview, ModelPassesQtsModelTester)
{
    VXKvTreeview view(nullptr, &kv);
    QAbstractItemModelTester tester(view.model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    view.expandAll();
    view.redraw();
    EXPECT_EQ(view.model()->rowCount(), 9);  // top level: comment, 5 values, layers, rows, script
    const QModelIndex coasts = findKey(view, "coasts &Arr{");
    ASSERT_TRUE(coasts.isValid());
    EXPECT_EQ(coasts.parent().data().toString(), "layers &Arr{");
    EXPECT_EQ(view.model()->rowCount(coasts), 1);
}

TEST_F(KvTreeview, ColoursFontsAndRedValues)
{
    VXKvTreeview view(nullptr, &kv);
    const QModelIndex layers = findKey(view, "layers &Arr{");
    EXPECT_EQ(layers.data(Qt::ForegroundRole).value<QColor>(), QColor("blue"));
    EXPECT_TRUE(layers.data(Qt::FontRole).value<QFont>().bold());
    EXPECT_EQ(findKey(view, "rows &Tbl{").data(Qt::ForegroundRole).value<QColor>(), QColor("green"));
    EXPECT_EQ(findKey(view, "script &Literal{").data(Qt::ForegroundRole).value<QColor>(), QColor("orange"));
    EXPECT_EQ(findKey(view, "title").data(Qt::ForegroundRole).value<QColor>(), QColor("black"));

    // a colour the library's parser refuses is red; a good one is not
    EXPECT_EQ(valueOf(findKey(view, "background")).data(Qt::ForegroundRole).value<QColor>(), QColor(Qt::red));
    EXPECT_FALSE(valueOf(findKey(view, "outline_color")).data(Qt::ForegroundRole).isValid());
    // an unsound constraint is red and not applied to its value
    const QModelIndex broken = findKey(view, "broken");
    EXPECT_EQ(broken.sibling(broken.row(), VX_KVTREE_CONSTRAINTS).data(Qt::ForegroundRole).value<QColor>(),
              QColor(Qt::red));
    EXPECT_FALSE(valueOf(broken).data(Qt::ForegroundRole).isValid());

    QString message;
    QList<int> bad;
    const int background = kv.getEntryIndex("background");
    EXPECT_FALSE(view.checkValue(background, nullptr, &message, &bad));
    EXPECT_EQ(bad, QList<int>{0});
    const QString good = "red";
    EXPECT_TRUE(view.checkValue(background, &good, nullptr, nullptr));
    EXPECT_EQ(view.valueType(background), "color");
    EXPECT_EQ(view.valueType(kv.getEntryIndex("linewidth")), "int");
    EXPECT_EQ(view.valueType(kv.getEntryIndex("title")), "unrecognized");
    EXPECT_EQ(takeErrors(), "");
}

TEST_F(KvTreeview, ABrokenConstraintShowsRedTheDocumentKeepsItsValueAndEditsCanBeBarred)
{
    VXKvTreeview view(nullptr, &kv);
    const QModelIndex width = valueOf(findKey(view, "linewidth"));
    ASSERT_TRUE(view.model()->flags(width) & Qt::ItemIsEditable);
    EXPECT_TRUE(view.model()->setData(width, "12", Qt::EditRole));
    EXPECT_EQ(width.data().toString(), "12");
    EXPECT_EQ(width.data(Qt::ForegroundRole).value<QColor>(), QColor(Qt::red));
    EXPECT_EQ(kv.getValue("linewidth"), "2");
    EXPECT_EQ(kv.getKvString(), sample);

    EXPECT_TRUE(view.model()->setData(width, "5", Qt::EditRole));
    EXPECT_FALSE(width.data(Qt::ForegroundRole).isValid());
    EXPECT_EQ(kv.getValue("linewidth"), "5");
    EXPECT_EQ(takeErrors(), "");
    // allow_value_edits no makes nothing editable
    ASSERT_EQ(view.configure("allow_comment_edits", "yes", nullptr), 0);
    int editable = 0;
    auto count = [&] {
        editable = 0;
        view.iterate([&](const QModelIndex& index) {
            for (int c = 0; c < 5; c++)
                if (view.model()->flags(index.sibling(index.row(), c)) & Qt::ItemIsEditable)
                    editable++;
        });
        return editable;
    };
    EXPECT_GT(count(), 0);
    ASSERT_EQ(view.configure("allow_value_edits", "no", nullptr), 0);
    EXPECT_EQ(count(), 0);
    EXPECT_FALSE(view.model()->setData(valueOf(findKey(view, "title")), "x", Qt::EditRole));
    expectConfigureRefused(&view, "allow_value_edits", "perhaps", "kvtreeview_parse_show: Unable to parse boolean from 'perhaps'.");
}

TEST_F(KvTreeview, ShowKeysHideColumnsAndCommentRows)
{
    VXKvTreeview view(nullptr, &kv);
    // defaults: constraints and sources hidden
    EXPECT_FALSE(view.isColumnHidden(VX_KVTREE_KEY));
    EXPECT_TRUE(view.isColumnHidden(VX_KVTREE_CONSTRAINTS));
    EXPECT_TRUE(view.isColumnHidden(VX_KVTREE_SOURCE));
    ASSERT_EQ(view.configure("show_constraints", "yes", "show_comments", "no", nullptr), 0);
    EXPECT_FALSE(view.isColumnHidden(VX_KVTREE_CONSTRAINTS));
    EXPECT_TRUE(view.isColumnHidden(VX_KVTREE_COMMENT));

    const QModelIndex coast_comment = view.model()->index(0, 0, findKey(view, "layers &Arr{"));
    EXPECT_EQ(coast_comment.sibling(0, VX_KVTREE_COMMENT).data().toString(), "the coast line");
    ASSERT_EQ(view.configure("show_noninline_comments", "no", nullptr), 0);
    EXPECT_TRUE(view.isRowHidden(0, QModelIndex()));
    EXPECT_TRUE(view.isRowHidden(0, coast_comment.parent()));
    EXPECT_FALSE(view.isRowHidden(1, QModelIndex()));
    ASSERT_EQ(view.configure("show_noninline_comments", "yes", nullptr), 0);
    EXPECT_FALSE(view.isRowHidden(0, QModelIndex()));
}

TEST_F(KvOptionsDialog, ShowControlsZeroGivesTheTreeAndTheStatusLineOnly)
{
    VXKvOptionsDialog bare(&kv, 0, 0);
    EXPECT_TRUE(bare.findChildren<QPushButton*>().isEmpty());
    EXPECT_TRUE(bare.findChildren<QCheckBox*>().isEmpty());
    EXPECT_EQ(bare.findChildren<VXKvTreeview*>().size(), 1);
    EXPECT_EQ(bare.findChildren<QLabel*>().size(), 1);
    EXPECT_TRUE(bare.statusMsg().startsWith("   Status: "));

    VXKvOptionsDialog full(&kv, 1, 0);
    QStringList buttons, boxes;
    for (QPushButton* b : full.findChildren<QPushButton*>())
        buttons << b->text();
    for (QCheckBox* c : full.findChildren<QCheckBox*>())
        boxes << c->text();
    EXPECT_EQ(buttons, QStringList({"Expand all", "Collapse all", "Save as...", "Options..."}));
    EXPECT_EQ(boxes, QStringList({"Allow value edits", "Show non-inline comments", "Show comments",
                                  "Show constraints", "Show source"}));
    // the boxes go through the tree's keys; non-inline comments do not
    full.constraints_check->setChecked(true);
    EXPECT_FALSE(full.tv->isColumnHidden(VX_KVTREE_CONSTRAINTS));
    full.allow_value_edits_check->setChecked(false);
    EXPECT_EQ(full.tv->params.allow_value_edits, 0);
    full.noninline_comments_check->setChecked(false);
    EXPECT_EQ(full.tv->params.show_noninline_comments, 1);
    EXPECT_EQ(takeErrors(), "");
}

TEST_F(KvOptionsDialog, StatusLineTellsEachChangeAndAFailedSave)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath("map.pf");
    {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(sample);
    }
    VXKvOptionsDialog dialog(path, 1, 0);
    EXPECT_EQ(dialog.free_hlkv, 1);
    const QModelIndex width = valueOf(findKey(*dialog.tv, "linewidth"));
    dialog.tv->model()->setData(width, "3", Qt::EditRole);
    EXPECT_EQ(dialog.statusMsg(),
              "   Status: <font color=\"black\">Attempting to change 'linewidth' to '3': Ok</font>");
    dialog.tv->model()->setData(width, "30", Qt::EditRole);
    EXPECT_EQ(dialog.statusMsg(), "   Status: <font color=\"black\">Attempting to change 'linewidth' to '30': "
                                  "</font><font color=\"red\">'30' is above the greatest value 10</font>");
    EXPECT_EQ(dialog.hlkv->getValue("linewidth"), "3");

    EXPECT_LT(dialog.saveAs("/nonexistent/folder/map.pf"), 0);
    EXPECT_TRUE(dialog.statusMsg().contains("Cannot write '/nonexistent/folder/map.pf'"));
    hl_clear_register(0);
    ASSERT_EQ(dialog.saveAs(path), 0);
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), QByteArray(sample).replace("linewidth    2 ", "linewidth    3 "));
}

TEST_F(KvOptionsDialog, TheOptionsInstanceEditsItsOwnFileAndConfiguresTheParent)
{
    VXKvOptionsDialog dialog(&kv, 1, 0);
    VXoptions* options = dialog.optionsDialog();
    ASSERT_NE(options, nullptr) << dialog.statusMsg().toStdString();
    EXPECT_EQ(options->windowTitle(), "OptionsDialog options");
    EXPECT_EQ(options->parent_dialog, &dialog);
    EXPECT_TRUE(options->findChildren<QPushButton*>().isEmpty());
    // the options file shows its own constraints
    EXPECT_FALSE(options->tv->isColumnHidden(VX_KVTREE_CONSTRAINTS));
    const QModelIndex sources = valueOf(findKey(*options->tv, "show_sources"));
    ASSERT_TRUE(sources.isValid());
    options->tv->model()->setData(sources, "yes", Qt::EditRole);
    EXPECT_FALSE(dialog.tv->isColumnHidden(VX_KVTREE_SOURCE));
    EXPECT_TRUE(options->statusMsg().contains(": Ok"));
    options->tv->model()->setData(sources, "sometimes", Qt::EditRole);
    EXPECT_TRUE(options->statusMsg().contains("is not a boolean"));
    EXPECT_FALSE(dialog.tv->isColumnHidden(VX_KVTREE_SOURCE));
    EXPECT_EQ(takeErrors(), "");
}

TEST_F(KvOptionsDialog, ADocumentThatDoesNotLoadStopsTheDialogWithItsMessages)
{
    EXPECT_THROW(VXKvOptionsDialog("/nonexistent/x.pf", 1, 0), const char*);
    const std::string text = takeErrors();
    EXPECT_NE(text.find("VXKvOptionsDialog::init: new HLKv(/nonexistent/x.pf) error: Exception\n"), std::string::npos);
    EXPECT_NE(text.find("VXKvOptionsDialog::VXKvOptionsDialog: init error: Exception\n"), std::string::npos);
}

TEST_F(KvOptionsDialog, RendersTheTree)
{
    VXKvOptionsDialog dialog(&kv, 1, 0);
    dialog.resize(760, 420);
    dialog.tv->expandAll();
    QImage image(dialog.size(), QImage::Format_ARGB32);
    image.fill(Qt::white);
    dialog.render(&image);
    if (qEnvironmentVariableIsSet("VX_KEEP_IMAGES"))
        image.save(QStringLiteral(VX_TEST_BINARY_DIR "/kvtreeview.png"));
    // the "&Arr" keys are drawn in blue somewhere in the tree
    const QRect tree(dialog.tv->mapTo(&dialog, QPoint(0, 0)), dialog.tv->size());
    int blue = 0, red = 0;
    for (int y = tree.top(); y < tree.bottom(); y++)
        for (int x = tree.left(); x < tree.right(); x++) {
            const QColor c = image.pixelColor(x, y);
            blue += c.blue() > 180 && c.red() < 80 && c.green() < 80;
            red += c.red() > 180 && c.green() < 80 && c.blue() < 80;
        }
    EXPECT_GT(blue, 20);
    EXPECT_GT(red, 20);  // the bad colour value
}
