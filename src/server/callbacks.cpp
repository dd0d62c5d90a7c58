// Client callbacks: the table, the signal connections and the two commands
// that register callbacks (qt_callback, errlog_callback).
#include "server/callbacks.h"

#include "server/procs.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

namespace {

int callback_depth = 0;

} // namespace

QHash<QString, VxGraphicsServerCallback>& VX_GraphicsServer_callbacks()
{
    static QHash<QString, VxGraphicsServerCallback> callbacks;
    return callbacks;
}

int VX_GraphicsServer_callback_depth()
{
    return callback_depth;
}

void VX_GraphicsServer_fire_callback(const QString& handle, const QStringList& params)
{
    auto it = VX_GraphicsServer_callbacks().constFind(handle);
    if (it == VX_GraphicsServer_callbacks().cend() || !it->callback_proc)
        return;
    const VxGraphicsServerCallback entry = *it;
    callback_depth++;
    entry.callback_proc(entry.item, entry.handle, params, entry.type, entry.client_data);
    callback_depth--;
}

void vx_connect_callback(int type, QObject* object, const QString& handle)
{
    switch (type) {
    case VX_TYPE_BUTTON: {
        auto* button = static_cast<QPushButton*>(object);
        QObject::connect(button, &QPushButton::clicked, button,
                         [button, handle] { VX_GraphicsServer_fire_callback(handle, {button->text()}); });
        break;
    }
    case VX_TYPE_CHECKBOX: {
        auto* box = static_cast<QCheckBox*>(object);
        QObject::connect(box, &QCheckBox::stateChanged, box, [handle](int state) {
            VX_GraphicsServer_fire_callback(handle, {state == Qt::Unchecked ? QStringLiteral("0") : QStringLiteral("1")});
        });
        break;
    }
    case VX_TYPE_COMBOBOX: {
        auto* box = static_cast<QComboBox*>(object);
        QObject::connect(box, &QComboBox::currentTextChanged, box, [box, handle](const QString& text) {
            VX_GraphicsServer_fire_callback(handle, {QString::number(box->currentIndex()), text});
        });
        break;
    }
    case VX_TYPE_LINEEDIT: {
        auto* edit = static_cast<QLineEdit*>(object);
        QObject::connect(edit, &QLineEdit::textChanged, edit, [handle](const QString& text) {
            VX_GraphicsServer_fire_callback(handle, {text, QStringLiteral("textchanged")});
        });
        QObject::connect(edit, &QLineEdit::editingFinished, edit, [edit, handle] {
            VX_GraphicsServer_fire_callback(handle, {edit->text(), QStringLiteral("editingfinished")});
        });
        break;
    }
    case VX_TYPE_TIMER: {
        auto* timer = static_cast<QTimer*>(object);
        QObject::connect(timer, &QTimer::timeout, timer, [handle] { VX_GraphicsServer_fire_callback(handle, {handle}); });
        break;
    }
    case VX_TYPE_ACTION: {
        auto* action = static_cast<QAction*>(object);
        QObject::connect(action, &QAction::triggered, action,
                         [action, handle] { VX_GraphicsServer_fire_callback(handle, {action->text()}); });
        break;
    }
    case VX_TYPE_FILEDIALOG: {
        auto* dialog = static_cast<QFileDialog*>(object);
        QObject::connect(dialog, &QFileDialog::filesSelected, dialog, [dialog, handle](const QStringList& files) {
            // accepting with no file chosen selects the directory itself
            QStringList params = files;
            if (files.size() == 1 && QDir(files[0]).absolutePath() == dialog->directory().absolutePath())
                params.clear();
            VX_GraphicsServer_fire_callback(handle, params);
        });
        break;
    }
    default:
        break;
    }
}

VxSilentCallback::VxSilentCallback(const QString& handle) : handle_(handle)
{
    auto it = VX_GraphicsServer_callbacks().find(handle);
    if (it != VX_GraphicsServer_callbacks().end()) {
        had_ = true;
        saved_ = *it;
        VX_GraphicsServer_callbacks().erase(it);
    }
}

VxSilentCallback::~VxSilentCallback()
{
    if (had_)
        VX_GraphicsServer_callbacks().insert(handle_, saved_);
}

namespace {

int VX_GraphicsServer_qt_callback(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                  VX_GraphicsServer_response* response)
{
    VxGraphicsServerCallback entry;
    entry.client_data = command->extra_args[1];
    entry.item = command->target;
    entry.type = command->target_type;
    entry.handle = command->handle;
    if (command->extra_args[0])
        entry.callback_proc = reinterpret_cast<VX_GraphicsServer_callback>(command->extra_args[0]);
    VX_GraphicsServer_callbacks().insert(command->handle, entry);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_errlog_callback(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                      VX_GraphicsServer_response* response)
{
    errlog_set(HL_ERRLOG_CALLBACK, 0, command->extra_args[0]);
    return vx_answer(response, command->command);
}

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_callbacks = {
    {"qt_callback", VX_GraphicsServer_qt_callback, "qt_callback WIDGET (extra: function, client data; vxsh: @callback)",
     "w = mainwindow none\nt = timer $w\n@callback $t",
     {.types = vx_types(VX_TYPE_BUTTON, VX_TYPE_LINEEDIT, VX_TYPE_ACTION, VX_TYPE_FILEDIALOG, VX_TYPE_TIMER,
                        VX_TYPE_CHECKBOX, VX_TYPE_COMBOBOX, VX_TYPE_TABLEVIEW, VX_TYPE_DBTABLEVIEW, VX_TYPE_QKTABLEVIEW,
                        VX_TYPE_QKEVENTSTABLEVIEW, VX_TYPE_QKORIGINSTABLEVIEW, VX_TYPE_COMMANDCONSOLE),
      .wrong_type = "{proc}: object {handle} not appropriate.\n", .min_args = 2, .max_args = 2,
      .wrong_count = "{proc}: qt_callback needs 2 arguments.\n", .flags = VX_CheckCountExtra}},
    {"errlog_callback", VX_GraphicsServer_errlog_callback, "errlog_callback (extra: function; vxsh: @errlog on|off)",
     "@errlog on\n@errlog off",
     {.min_args = 1, .max_args = 1, .wrong_count = "{proc}: Need 1 callback argument.\n", .flags = VX_CheckCountExtra}},
};
