// The command table of the graphics server.
//
// Each area of the server keeps its rows in its own file
// (commands_core.cpp, ...): the word, its procedure, a usage text and a
// sample.  The dispatch hash is filled from all rows at start-up.
#pragma once

#include "server/graphicsserver.h"

#include <vector>

struct VX_GraphicsServer_command_row
{
    const char* command;           // the command word
    VX_GraphicsServer_proc* proc;  // VX_GraphicsServer_<word>
    const char* usage;             // "word target [arguments]" as the command shell writes it
    const char* sample;            // command-shell lines that run the word successfully in a new session
};

// All rows, in the order of their areas.
VXPLOT_EXPORT const std::vector<VX_GraphicsServer_command_row>& VX_GraphicsServer_commands();

// The row of a word, or null.
VXPLOT_EXPORT const VX_GraphicsServer_command_row* VX_GraphicsServer_find_command(const QString& word);

// Fill the dispatch hash once per process.
VXPLOT_EXPORT void VX_GraphicsString_init();
