// VXDbTableview: the callback over the record store, sizing and sorting.
#include "views/dbtableview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "views/tableview_model_p.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

QHash<QString, QString> emptyDefinition;

}  // namespace

VXDbTableview::VXDbTableview(QWidget* parent, Rsptr db_) : VXTableview(parent)
{
    db = db_;
    db.field = RS_ALL;
    db.record = RS_ALL;
    dbs = db;
    dbtable = db;
    if (rsisinvalid(db)) {
        // the view stays empty
        hl_register_error(0, "VXDbTableview::VXDbTableview: Invalid record store pointer.\n");
    } else {
        long is_view = 0;
        if (rsquery(db, RS_TABLE_IS_VIEW, &is_view) == 0 && is_view) {
            Rsptr table = rsinvalid();
            if (rsquery(db, RS_VIEW_TABLE, &table) == 0)
                dbtable = table;
        }
        Tbl* names = nullptr;
        if (rsquery(dbtable, RS_TABLE_FIELDS, &names) == 0) {
            for (long i = 0; i < seqcount(names); i++)
                fields.insert(QString::fromUtf8(static_cast<const char*>(seqget(names, i))));
            seqfree(names, nullptr);
        }
    }
    registerColumnKeys();
    if (!rsisinvalid(db))
        setTable();
}

VXDbTableview::~VXDbTableview()
{
    freeSorted();
}

void VXDbTableview::selectionCallback(int&)
{
}

void VXDbTableview::freeSorted()
{
    if (rssfree)
        rsfree(dbs);
    rssfree = 0;
    dbs = db;
}

QStringList VXDbTableview::definedColumns() const
{
    QStringList names;
    for (const QString& name : collist)
        if (colhash.contains(name))
            names.append(name);
    return names;
}

int VXDbTableview::setTable()
{
    const QStringList defined = definedColumns();
    long count = 0;
    if (rsquery(db, RS_RECORD_COUNT, &count) < 0) {
        hl_register_error(0, "VXDbTableview::setTable: rsquery(RS_RECORD_COUNT) error.\n");
        return -1;
    }
    if (count > VX_TABLEVIEW_MAX_ROWS)
        count = VX_TABLEVIEW_MAX_ROWS;
    if (setDimensions(static_cast<int>(count), static_cast<int>(defined.size())) < 0) {
        hl_register_error(0, "VXDbTableview::setTable: setDimensions error.\n");
        return -1;
    }
    // each sample as a literal row, so that "#" and "}" stay text
    QString widths = QStringLiteral("column_widths &Tbl{\n");
    for (const QString& name : defined) {
        QString sample = colhash.value(name).value(QStringLiteral("text_template")).trimmed();
        sample.replace(QLatin1Char('\n'), QLatin1Char(' '));
        if (sample.isEmpty())
            sample = QStringLiteral("0");
        widths += QStringLiteral("@Literal ") + sample + QLatin1Char('\n');
    }
    widths += QStringLiteral("}\n");
    if (setConfigureValue("column_widths", widths.toUtf8().constData()) < 0) {
        hl_register_error(0, "VXDbTableview::setTable: configure(column_widths) error.\n");
        return -1;
    }
    return 0;
}

Rsptr VXDbTableview::rowPointer(int row)
{
    Rsptr p;
    if (row >= 0 && row < vxmodel->record_tab.size()) {
        // the sort gave records of the table itself
        p = dbtable;
        p.record = vxmodel->record_tab[row];
    } else {
        p = db;
        p.record = row;
    }
    p.field = RS_ALL;
    return p;
}

QString VXDbTableview::cellText(int row, int column)
{
    if (column < 0 || column >= collist.size())
        return QString();
    auto it = colhash.constFind(collist[column]);
    if (it == colhash.constEnd())
        return QString();
    const VxDbColumn col = VX_DbColumn(it.value());
    const Rsptr p = rowPointer(row);
    QString text;
    for (int k = 0; k < col.source.size(); k++) {
        const QByteArray expr = col.source[k].trimmed().toUtf8();
        // a plain field holding its null value shows nothing
        if (fields.contains(col.source[k].trimmed())) {
            char null_text[RS_STRSZ];
            char row_text[RS_STRSZ];
            Rsptr nullp = rslookup(p, nullptr, nullptr, expr.constData(), "rsNULL");
            Rsptr rowp = nullp;
            rowp.record = p.record;
            if (!rsisinvalid(nullp) && rsget(nullp, null_text) == 0 && rsget(rowp, row_text) == 0 &&
                strcmp(null_text, row_text) == 0)
                continue;
        }
        Rsvalue value;
        const int kind = rsex_evalstr(p, expr.constData(), RSEX_ANY, &value);
        if (kind < 0) {
            hl_clear_register(0);
            return QStringLiteral("err");
        }
        text += VX_DbFormatValue(value, kind, k < col.format.size() ? col.format[k] : QString());
    }
    return text;
}

QVariant VXDbTableview::callback(QStringList args)
{
    if (args.isEmpty())
        return QVariant();
    const QString& word = args[0];
    if (word == QLatin1String("headerdata")) {
        if (args.size() < 3 || args[2] != QLatin1String("horizontal"))
            return QVariant();
        bool ok = false;
        const int section = args[1].toInt(&ok);
        if (!ok || section < 0 || section >= collist.size())
            return QVariant();
        const QString& name = collist[section];
        const QString label = colhash.value(name, emptyDefinition).value(QStringLiteral("label"));
        return label.isEmpty() ? name : label;
    }
    if (word == QLatin1String("data") || word == QLatin1String("alignment")) {
        if (args.size() < 2)
            return QVariant();
        const QStringList rc = args[1].split(QLatin1Char(' '));
        bool ok_row = false, ok_col = false;
        const int row = rc.value(0).toInt(&ok_row);
        const int column = rc.value(1).toInt(&ok_col);
        if (!ok_row || !ok_col)
            return QVariant();
        if (word == QLatin1String("data"))
            return cellText(row, column);
        if (column < 0 || column >= collist.size())
            return QVariant();
        const QString a = colhash.value(collist[column], emptyDefinition).value(QStringLiteral("alignment"));
        if (a == QLatin1String("e"))
            return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
        if (a == QLatin1String("w"))
            return static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter);
        if (a == QLatin1String("c"))
            return static_cast<int>(Qt::AlignHCenter | Qt::AlignVCenter);
        return QVariant();
    }
    if (word == QLatin1String("sort")) {
        if (args.size() >= 3) {
            bool ok_col = false, ok_rev = false;
            const int column = args[1].toInt(&ok_col);
            const int reverse = args[2].toInt(&ok_rev);
            if (ok_col && ok_rev)
                sortColumn(column, reverse);
        }
        return QStringLiteral("disable_sort");
    }
    if (word == QLatin1String("selection_changed")) {
        bool ok = false;
        int row = args.value(1).toInt(&ok);
        if (ok)
            selectionCallback(row);
        return QVariant();
    }
    return QVariant();
}

void VXDbTableview::sortColumn(int column, int reverse)
{
    if (column < 0) {
        freeSorted();
        setRecordTab({});
        return;
    }
    if (column >= collist.size())
        return;
    const QString keys_text = colhash.value(collist[column], emptyDefinition).value(QStringLiteral("sort")).trimmed();
    if (keys_text.isEmpty())
        return;  // a column without sort keys keeps the present order
    Tbl* keys = strcutwhite(keys_text.toUtf8().constData());
    if (!keys)
        return;
    Rsptr sorted = rssort(db, keys, 0, "vxdbtableview_sort");
    seqfree(keys, free);
    if (rsisinvalid(sorted)) {
        hl_register_error(0, "VXDbTableview::sortColumn: rssort(%s) error.\n", keys_text.toUtf8().constData());
        return;
    }
    Tbl* tab = nullptr;
    if (rsget_sort_tab(sorted, &tab) < 0) {
        rsfree(sorted);
        hl_register_error(0, "VXDbTableview::sortColumn: rsget_sort_tab error.\n");
        return;
    }
    freeSorted();
    dbs = sorted;
    rssfree = 1;
    const long n = seqcount(tab);
    QList<long> order;
    order.reserve(n);
    for (long i = 0; i < n; i++)
        order.append(static_cast<long>(reinterpret_cast<intptr_t>(seqget(tab, reverse == 1 ? n - 1 - i : i))));
    seqfree(tab, nullptr);
    setRecordTab(std::move(order));
}
