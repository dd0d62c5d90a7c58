#include "server/commands.h"

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
                                 &vx_commands_kv})
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
