// The command table of the graphics server.
//
// Each area of the server keeps its rows in its own file
// (commands_core.cpp, ...): the word, its procedure, a usage text, a
// sample, and the checks of its target and argument count with their
// messages.  The dispatch hash is filled from all rows at start-up.
#pragma once

#include "server/graphicsserver.h"

#include <vector>

// The checks that VX_GraphicsServer_process makes before it calls a row's
// proc.  Messages may name the proc as {proc}, the command's handle as
// {handle} and the target's type word as {type}.
struct VX_GraphicsServer_checks
{
    // Target types accepted, one bit per VX_ItemType (vx_types); 0 leaves
    // the handle to the proc.  A handle that is not in the table gets
    // "{proc}: VX_GraphicsServer_get_item({handle}) error.\n" below the
    // look-up's own line; another type gets wrong_type.
    unsigned long long types = 0;
    const char* wrong_type = nullptr;
    // Numbers of positional arguments accepted, from min_args to max_args
    // (-1: no bound); any other number gets wrong_count.
    int min_args = -1;
    int max_args = -1;
    const char* wrong_count = nullptr;
    unsigned flags = 0;          // VX_Check* flags
    const char* proc = nullptr;  // {proc}, when not VX_GraphicsServer_<word>
};

enum VX_CheckFlags : unsigned {
    VX_CheckNoneTarget = 1,  // the handle "none" passes, with no target
    VX_CheckCountFirst = 2,  // the count is checked before the target
    VX_CheckCountExtra = 4,  // the count is of the raw pointers (extra_args)
};

// The bit of one type, and of several, for VX_GraphicsServer_checks::types.
constexpr unsigned long long vx_types() { return 0; }
template <class... More>
constexpr unsigned long long vx_types(int type, More... more)
{
    return (1ULL << type) | vx_types(more...);
}
// Every type: the handle must only be known.
constexpr unsigned long long VX_TYPES_ANY = (1ULL << VX_TYPE_COUNT) - 1;

struct VX_GraphicsServer_command_row
{
    const char* command;           // the command word
    VX_GraphicsServer_proc* proc;  // VX_GraphicsServer_<word>
    const char* usage;             // "word target [arguments]" as the command shell writes it
    const char* sample;            // command-shell lines that run the word successfully in a new session
    VX_GraphicsServer_checks checks = {};  // made before proc runs, which finds the target in the command
};

// All rows, in the order of their areas.
VXPLOT_EXPORT const std::vector<VX_GraphicsServer_command_row>& VX_GraphicsServer_commands();

// The row of a word, or null.
VXPLOT_EXPORT const VX_GraphicsServer_command_row* VX_GraphicsServer_find_command(const QString& word);

// Make a row's checks on a command: resolve and check its target (stored in
// command->target and command->target_type) and its argument count.  0, or
// -1 with the row's message registered.
VXPLOT_EXPORT int VX_GraphicsServer_check(VX_GraphicsServer* server, const VX_GraphicsServer_command_row& row,
                                          VX_GraphicsServer_command* command);

// Fill the dispatch hash once per process.
VXPLOT_EXPORT void VX_GraphicsString_init();
