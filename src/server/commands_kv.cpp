// The words of the parameter tree view and of the record tables:
// kvtreeview, kvtreeview_expandall, kvtreeview_collapseall,
// kvtreeview_redraw, kvtreeview_checkvalue, tableview,
// tableview_setdimensions, tableview_setrecordtab, tableview_gettotalsize,
// dbtableview, dbtableview_gettotalsize.  The server's table views (a plain
// one whose cells come from the client's callback, and a database one that
// reports selections) are defined here too.
#include "server/callbacks.h"
#include "server/commands.h"
#include "server/widgetprocs.h"
#include "toolkit/store/recordstore.h"
#include "views/dbtableview.h"
#include "views/kvtreeview.h"
#include "views/tableview.h"

#include <cstdio>

// A table view whose every cell, header and sort answer comes from the
// client's callback of its handle; without one the cells stay empty.
class VX_Tableview : public VXTableview
{
public:
    explicit VX_Tableview(QWidget* parent) : VXTableview(parent) {}

    QVariant callback(QStringList params) override
    {
        const auto it = VX_GraphicsServer_callbacks().constFind(handle);
        if (it == VX_GraphicsServer_callbacks().constEnd() || !it->callback_proc)
            return QVariant();
        // a copy: the client may replace its own entry
        const VxGraphicsServerCallback cb = *it;
        return cb.callback_proc(cb.item, handle, params, cb.type, cb.client_data);
    }
};

// A database table view that tells the client the row selected, as decimal
// text.
class VX_DbTableview : public VXDbTableview
{
public:
    VX_DbTableview(QWidget* parent, Rsptr db) : VXDbTableview(parent, db) {}

    void selectionCallback(int& row) override
    {
        VX_GraphicsServer_fire_callback(handle, {QString::number(row)});
    }
};

namespace {

typedef VX_GraphicsServer S;
typedef VX_GraphicsServer_command C;
typedef VX_GraphicsServer_response R;

QByteArray H(const QString& s)
{
    return vx_msg(s);
}

// The parent of a creating command: a frame, or a mainwindow standing for
// its central frame.  Null after registering "<proc>: parent must be a
// frame or mainwindow.\n".
QWidget* creatingParent(S* server, C* command, const char* proc)
{
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return nullptr;
    QWidget* parent = type == VX_TYPE_FRAME || type == VX_TYPE_MAINWINDOW ? vx_parent_widget(type, item) : nullptr;
    if (!parent)
        hl_register_error(0, "%s: parent must be a frame or mainwindow.\n", proc);
    return parent;
}

// The target of an operating command, of type want, with nargs arguments;
// null after registering "<proc>: <word> must have <type> item, not
// <actual>.\n" or "<proc>: <word> needs <n> arguments.\n".
void* target(S* server, C* command, const char* proc, const char* word, int want, int nargs)
{
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return nullptr;
    if (type != want) {
        hl_register_error(0, "%s: %s must have %s item, not %s.\n", proc, word, vx_type_word(want),
                          vx_type_word(type));
        return nullptr;
    }
    if (nargs >= 0 && command->args.size() != nargs) {
        hl_register_error(0, "%s: %s needs %d arguments.\n", proc, word, nargs);
        return nullptr;
    }
    return item;
}

int made(S* server, C* command, R* response, int type, void* item, QString* view_handle, const char* trace_class)
{
    QString handle;
    VX_GraphicsServer_set_item(server, type, item, handle);
    if (view_handle)
        *view_handle = handle;
    if (trace_class)
        VX_TRACE("%s = new %s(%s)", H(handle).constData(), trace_class, H(command->handle).constData());
    return vx_answer(response, handle);
}

int totalSize(VXTableview* view, C* command, R* response)
{
    int w = 0, h = 0;
    view->totalSize(w, h);
    vx_answer(response, command->handle);
    response->return_params << QString::number(w) << QString::number(h);
    return 0;
}

// ---- parameter tree view

int VX_GraphicsServer_kvtreeview(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_kvtreeview";
    QWidget* parent = creatingParent(server, command, proc);
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: kvtreeview needs 1 argument.\n", proc);
    VXKvTreeview* view = nullptr;
    try {
        view = new VXKvTreeview(parent, command->args[0]);
    } catch (const char*) {
        // the document's reason is in the register above this line
        return vx_fail(server, response, "%s: new VX_KvTreeview() error.\n", proc);
    }
    return made(server, command, response, VX_TYPE_KVTREEVIEW, view, &view->handle, "VX_KvTreeview");
}

int VX_GraphicsServer_kvtreeview_expandall(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_kvtreeview_expandall";
    auto* view = static_cast<VXKvTreeview*>(target(server, command, proc, "kvtreeview_expandall", VX_TYPE_KVTREEVIEW, 0));
    if (!view)
        return VX_GraphicsServer_error2(server, response);
    view->expandAll();
    VX_TRACE("%s->expandAll()", H(command->handle).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_kvtreeview_collapseall(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_kvtreeview_collapseall";
    auto* view =
        static_cast<VXKvTreeview*>(target(server, command, proc, "kvtreeview_collapseall", VX_TYPE_KVTREEVIEW, 0));
    if (!view)
        return VX_GraphicsServer_error2(server, response);
    view->collapseAll();
    VX_TRACE("%s->collapseAll()", H(command->handle).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_kvtreeview_redraw(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_kvtreeview_redraw";
    auto* view = static_cast<VXKvTreeview*>(target(server, command, proc, "kvtreeview_redraw", VX_TYPE_KVTREEVIEW, 0));
    if (!view)
        return VX_GraphicsServer_error2(server, response);
    view->redraw();
    VX_TRACE("%s->redraw()", H(command->handle).constData());
    return vx_answer(response, command->handle);
}

// Answers "1" or "0" for valid and the type word of the entry's first
// constraint.
int VX_GraphicsServer_kvtreeview_checkvalue(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_kvtreeview_checkvalue";
    auto* view =
        static_cast<VXKvTreeview*>(target(server, command, proc, "kvtreeview_checkvalue", VX_TYPE_KVTREEVIEW, 2));
    if (!view)
        return VX_GraphicsServer_error2(server, response);
    int index = 0;
    if (!vx_to_int(proc, "index", command->args[0], &index))
        return VX_GraphicsServer_error2(server, response);
    const QString value = command->args[1];
    const bool valid = view->checkValue(index, &value, nullptr, nullptr);
    VX_TRACE("%s->checkValue(%d, %s)", H(command->handle).constData(), index, H(value).constData());
    vx_answer(response, command->handle);
    response->return_params << QString::number(valid ? 1 : 0) << view->valueType(index);
    return 0;
}

// ---- record tables

int VX_GraphicsServer_tableview(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_tableview";
    QWidget* parent = creatingParent(server, command, proc);
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    auto* view = new VX_Tableview(parent);
    return made(server, command, response, VX_TYPE_TABLEVIEW, static_cast<VXTableview*>(view), &view->handle,
                "VX_Tableview");
}

int VX_GraphicsServer_tableview_setdimensions(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_tableview_setdimensions";
    auto* view = static_cast<VXTableview*>(target(server, command, proc, "tableview_setdimensions", VX_TYPE_TABLEVIEW, 2));
    if (!view)
        return VX_GraphicsServer_error2(server, response);
    int nrows = 0, ncols = 0;
    if (!vx_to_int(proc, "nrows", command->args[0], &nrows) || !vx_to_int(proc, "ncols", command->args[1], &ncols))
        return VX_GraphicsServer_error2(server, response);
    if (view->setDimensions(nrows, ncols) < 0)
        return VX_GraphicsServer_error2(server, response);
    VX_TRACE("%s->setDimensions(%d, %d)", H(command->handle).constData(), nrows, ncols);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_tableview_setrecordtab(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_tableview_setrecordtab";
    auto* view = static_cast<VXTableview*>(target(server, command, proc, "tableview_setrecordtab", VX_TYPE_TABLEVIEW, -1));
    if (!view)
        return VX_GraphicsServer_error2(server, response);
    QList<long> tab;
    tab.reserve(command->args.size());
    for (qsizetype i = 0; i < command->args.size(); i++) {
        bool ok = false;
        const long record = command->args[i].trimmed().toLong(&ok);
        if (!ok)
            return vx_fail(server, response, "%s: index[%d] conversion error '%s'.\n", proc, static_cast<int>(i),
                           H(command->args[i]).constData());
        tab.append(record);
    }
    view->setRecordTab(tab);
    VX_TRACE("%s->setRecordTab(%d records)", H(command->handle).constData(), static_cast<int>(tab.size()));
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_tableview_gettotalsize(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_tableview_gettotalsize";
    auto* view = static_cast<VXTableview*>(target(server, command, proc, "tableview_gettotalsize", VX_TYPE_TABLEVIEW, 0));
    if (!view)
        return VX_GraphicsServer_error2(server, response);
    return totalSize(view, command, response);
}

int VX_GraphicsServer_dbtableview(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_dbtableview";
    QWidget* parent = creatingParent(server, command, proc);
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.isEmpty())
        return vx_fail(server, response, "%s: No Rsptr argument.\n", proc);
    const QByteArray text = command->args[0].toUtf8();
    Rsptr db{};
    char tail = 0;
    if (sscanf(text.constData(), "%ld %ld %ld %ld %c", &db.database, &db.table, &db.field, &db.record, &tail) != 4)
        return vx_fail(server, response, "%s: Cannot parse Rsptr argument(%s).\n", proc, text.constData());
    // a pointer that names no open table gives an empty view, as the class
    // does; its complaint does not reach the client
    const int before = hl_error_count();
    auto* view = new VX_DbTableview(parent, db);
    if (before == 0)
        hl_clear_register(0);
    return made(server, command, response, VX_TYPE_DBTABLEVIEW, static_cast<VXTableview*>(view), &view->handle,
                nullptr);
}

int VX_GraphicsServer_dbtableview_gettotalsize(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_dbtableview_gettotalsize";
    auto* view =
        static_cast<VXTableview*>(target(server, command, proc, "dbtableview_gettotalsize", VX_TYPE_DBTABLEVIEW, 0));
    if (!view)
        return VX_GraphicsServer_error2(server, response);
    return totalSize(view, command, response);
}

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_kv = {
    {"kvtreeview", VX_GraphicsServer_kvtreeview, "kvtreeview FRAME|MAINWINDOW text|parameter_file",
     "w = mainwindow none\nkvtreeview $w \"width 3 #@ int[1,10]\\n\""},
    {"kvtreeview_expandall", VX_GraphicsServer_kvtreeview_expandall, "kvtreeview_expandall KVTREEVIEW",
     "w = mainwindow none\nk = kvtreeview $w \"a &Arr{\\nb 1\\n}\\n\"\nkvtreeview_expandall $k"},
    {"kvtreeview_collapseall", VX_GraphicsServer_kvtreeview_collapseall, "kvtreeview_collapseall KVTREEVIEW",
     "w = mainwindow none\nk = kvtreeview $w \"a &Arr{\\nb 1\\n}\\n\"\nkvtreeview_collapseall $k"},
    {"kvtreeview_redraw", VX_GraphicsServer_kvtreeview_redraw, "kvtreeview_redraw KVTREEVIEW",
     "w = mainwindow none\nk = kvtreeview $w \"a 1\\n\"\nkvtreeview_redraw $k"},
    {"kvtreeview_checkvalue", VX_GraphicsServer_kvtreeview_checkvalue, "kvtreeview_checkvalue KVTREEVIEW index value",
     "w = mainwindow none\nk = kvtreeview $w \"width 3 #@ int[1,10]\\n\"\nkvtreeview_checkvalue $k 0 12"},
    {"tableview", VX_GraphicsServer_tableview, "tableview FRAME|MAINWINDOW", "w = mainwindow none\ntableview $w"},
    {"tableview_setdimensions", VX_GraphicsServer_tableview_setdimensions,
     "tableview_setdimensions TABLEVIEW nrows ncols",
     "w = mainwindow none\nt = tableview $w\ntableview_setdimensions $t 10 3"},
    {"tableview_setrecordtab", VX_GraphicsServer_tableview_setrecordtab, "tableview_setrecordtab TABLEVIEW [record ...]",
     "w = mainwindow none\nt = tableview $w\ntableview_setdimensions $t 3 2\ntableview_setrecordtab $t 2 0 1"},
    {"tableview_gettotalsize", VX_GraphicsServer_tableview_gettotalsize, "tableview_gettotalsize TABLEVIEW",
     "w = mainwindow none\nt = tableview $w\ntableview_gettotalsize $t"},
    {"dbtableview", VX_GraphicsServer_dbtableview, "dbtableview FRAME|MAINWINDOW 'database table field record'",
     "w = mainwindow none\ndbtableview $w '-1 -1 -1 -1'"},
    {"dbtableview_gettotalsize", VX_GraphicsServer_dbtableview_gettotalsize, "dbtableview_gettotalsize DBTABLEVIEW",
     "w = mainwindow none\nd = dbtableview $w '-1 -1 -1 -1'\ndbtableview_gettotalsize $d"},
};
