#include "server/commands.h"

#include "server/procs.h"

#include <QHash>

#include <mutex>

// Rows of each area of the server.
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_core;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_common;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_geometry;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_windows;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_widgets;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_callbacks;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_config;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_viewport;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_items;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_console;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_kv;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_map;
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_traceview;

namespace {

// The dispatch hash: command word to its row.
QHash<QString, const VX_GraphicsServer_command_row*>& VX_GraphicsServer_proc_hash()
{
    static QHash<QString, const VX_GraphicsServer_command_row*> hash;
    return hash;
}

} // namespace

const std::vector<VX_GraphicsServer_command_row>& VX_GraphicsServer_commands()
{
    static const std::vector<VX_GraphicsServer_command_row> all = [] {
        std::vector<VX_GraphicsServer_command_row> rows;
        for (const auto* area : {&vx_commands_core, &vx_commands_common, &vx_commands_geometry, &vx_commands_windows,
                                 &vx_commands_widgets, &vx_commands_callbacks, &vx_commands_config,
                                 &vx_commands_viewport, &vx_commands_items, &vx_commands_console,
                                 &vx_commands_kv, &vx_commands_map, &vx_commands_traceview})
            rows.insert(rows.end(), area->begin(), area->end());
        return rows;
    }();
    return all;
}

void VX_GraphicsString_init()
{
    static std::once_flag once;
    std::call_once(once, [] {
        for (const VX_GraphicsServer_command_row& row : VX_GraphicsServer_commands())
            VX_GraphicsServer_proc_hash().insert(QString::fromLatin1(row.command), &row);
    });
}

const VX_GraphicsServer_command_row* VX_GraphicsServer_find_command(const QString& word)
{
    VX_GraphicsString_init();
    return VX_GraphicsServer_proc_hash().value(word, nullptr);
}

namespace {

// The name a row's messages give as {proc}.
QByteArray procName(const VX_GraphicsServer_command_row& row)
{
    return row.checks.proc ? QByteArray(row.checks.proc) : QByteArray("VX_GraphicsServer_") + row.command;
}

// Register a row's message with its {proc}, {handle} and {type} filled in.
void registerMessage(const VX_GraphicsServer_command_row& row, const char* message,
                     const VX_GraphicsServer_command* command, int type)
{
    QByteArray text = message ? QByteArray(message) : QByteArray("{proc}: Bad command.\n");
    text.replace("{proc}", procName(row));
    text.replace("{handle}", vx_msg(command->handle));
    text.replace("{type}", vx_type_word(type));
    hl_register_error(HL_SEVERITY_NORMAL, "%s", text.constData());
}

bool countAccepted(const VX_GraphicsServer_checks& checks, const VX_GraphicsServer_command* command)
{
    const qsizetype n = checks.flags & VX_CheckCountExtra ? command->extra_args.size() : command->args.size();
    return (checks.min_args < 0 || n >= checks.min_args) && (checks.max_args < 0 || n <= checks.max_args);
}

} // namespace

int VX_GraphicsServer_check(VX_GraphicsServer* server, const VX_GraphicsServer_command_row& row,
                            VX_GraphicsServer_command* command)
{
    const VX_GraphicsServer_checks& checks = row.checks;
    command->target = nullptr;
    command->target_type = -1;
    const bool count_first = checks.flags & VX_CheckCountFirst;
    if (count_first && !countAccepted(checks, command)) {
        registerMessage(row, checks.wrong_count, command, -1);
        return -1;
    }
    if (checks.types && !((checks.flags & VX_CheckNoneTarget) && command->handle == QLatin1String("none"))) {
        int type = -1;
        void* item = VX_GraphicsServer_get_item(server, command->handle, &type, VX_ITEM_KEEP);
        if (!item) {
            hl_register_error(HL_SEVERITY_NORMAL, "%s: VX_GraphicsServer_get_item(%s) error.\n", procName(row).constData(),
                              vx_msg(command->handle).constData());
            return -1;
        }
        if (type < 0 || type >= VX_TYPE_COUNT || !(checks.types & (1ULL << type))) {
            registerMessage(row, checks.wrong_type, command, type);
            return -1;
        }
        command->target = item;
        command->target_type = type;
    }
    if (!count_first && !countAccepted(checks, command)) {
        registerMessage(row, checks.wrong_count, command, command->target_type);
        return -1;
    }
    return 0;
}

int vx_refuse_target(const VX_GraphicsServer_command* command)
{
    if (const VX_GraphicsServer_command_row* row = VX_GraphicsServer_find_command(command->command))
        registerMessage(*row, row->checks.wrong_type, command, command->target_type);
    return -1;
}
