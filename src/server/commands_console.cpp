// The command console's words.
#include "server/commands.h"

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_console = {};
