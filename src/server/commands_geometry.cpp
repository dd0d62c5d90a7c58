// Commands that place and size any widget: position, geometry,
// geometry_fixed, minimumsize, maximumsize.
#include "server/procs.h"

#include <QWidget>

namespace {

// The widget behind the command's target: the rows accept the widget types
// only, with "<proc>: <type> object is not a widget.\n" for the others.
QWidget* targetWidget(const VX_GraphicsServer_command* command)
{
    return static_cast<QWidget*>(vx_as_qobject(command->target_type, command->target));
}

// Convert all arguments with the given wording; false after the first failure.
bool toInts(const char* proc, const char* name, const QStringList& args, int* values)
{
    for (qsizetype i = 0; i < args.size(); i++)
        if (!vx_to_int(proc, name, args[i], &values[i]))
            return false;
    return true;
}

// geometry and geometry_fixed share their shape: 2 arguments size the
// widget, 4 place and size it.
int geometryCommand(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                    VX_GraphicsServer_response* response, bool fixed)
{
    const char* proc = fixed ? "VX_GraphicsServer_fixed_geometry" : "VX_GraphicsServer_geometry";
    QWidget* widget = targetWidget(command);
    const qsizetype n = command->args.size();
    if (n != 2 && n != 4) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: geometry command must have 2 or 4 arguments.\n", proc);
        return VX_GraphicsServer_error2(server, response);
    }
    int v[4] = {0, 0, 0, 0};
    if (!toInts(proc, "gemeometry", command->args, v))
        return VX_GraphicsServer_error2(server, response);
    if (n == 2) {
        if (fixed)
            widget->setFixedSize(v[0], v[1]);
        else
            widget->resize(v[0], v[1]);
    } else if (fixed) {
        widget->setFixedSize(v[2], v[3]);
        widget->move(v[0], v[1]);
    } else {
        widget->setGeometry(v[0], v[1], v[2], v[3]);
    }
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_geometry(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    return geometryCommand(server, command, response, false);
}

int VX_GraphicsServer_fixed_geometry(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                     VX_GraphicsServer_response* response)
{
    return geometryCommand(server, command, response, true);
}

int VX_GraphicsServer_position(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_position";
    QWidget* widget = targetWidget(command);
    int v[2] = {0, 0};
    if (!toInts(proc, "gemeometry", command->args, v))
        return VX_GraphicsServer_error2(server, response);
    widget->move(v[0], v[1]);
    return vx_answer(response, command->command);
}

// minimumsize and maximumsize: a value that is not positive leaves its
// dimension alone, except that a bad width sets the height as given.
int sizeLimitCommand(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                     VX_GraphicsServer_response* response, bool maximum)
{
    const char* proc = maximum ? "VX_GraphicsServer_maximumsize" : "VX_GraphicsServer_minimumsize";
    QWidget* widget = targetWidget(command);
    int width = 0, height = 0;
    if (!vx_to_int(proc, "width", command->args[0], &width) || !vx_to_int(proc, "height", command->args[1], &height))
        return VX_GraphicsServer_error2(server, response);
    if (width > 0 && height > 0)
        maximum ? widget->setMaximumSize(width, height) : widget->setMinimumSize(width, height);
    else if (width > 0)
        maximum ? widget->setMaximumWidth(width) : widget->setMinimumWidth(width);
    else
        maximum ? widget->setMaximumHeight(height) : widget->setMinimumHeight(height);
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_maximumsize(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                  VX_GraphicsServer_response* response)
{
    return sizeLimitCommand(server, command, response, true);
}

int VX_GraphicsServer_minimumsize(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                  VX_GraphicsServer_response* response)
{
    return sizeLimitCommand(server, command, response, false);
}

} // namespace

namespace {
const char* const kNotAWidget = "{proc}: {type} object is not a widget.\n";
} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_geometry = {
    {"position", VX_GraphicsServer_position, "position WIDGET x y", "w = mainwindow none\nposition $w 10 20",
     {.types = VX_TYPES_WIDGET, .wrong_type = kNotAWidget, .min_args = 2, .max_args = 2,
      .wrong_count = "{proc}: position command must have 2.\n"}},
    {"geometry", VX_GraphicsServer_geometry, "geometry WIDGET [x y] width height",
     "w = mainwindow none\ngeometry $w 640 480\ngeometry $w 10 10 320 200",
     {.types = VX_TYPES_WIDGET, .wrong_type = kNotAWidget}},
    {"geometry_fixed", VX_GraphicsServer_fixed_geometry, "geometry_fixed WIDGET [x y] width height",
     "w = mainwindow none\ngeometry_fixed $w 10 10 320 200",
     {.types = VX_TYPES_WIDGET, .wrong_type = kNotAWidget, .proc = "VX_GraphicsServer_fixed_geometry"}},
    {"maximumsize", VX_GraphicsServer_maximumsize, "maximumsize WIDGET width height",
     "w = mainwindow none\nmaximumsize $w 800 0",
     {.types = VX_TYPES_WIDGET, .wrong_type = kNotAWidget, .min_args = 2, .max_args = 2,
      .wrong_count = "{proc}: maximumsize command must have 2 arguments.\n"}},
    {"minimumsize", VX_GraphicsServer_minimumsize, "minimumsize WIDGET width height",
     "w = mainwindow none\nminimumsize $w 300 200",
     {.types = VX_TYPES_WIDGET, .wrong_type = kNotAWidget, .min_args = 2, .max_args = 2,
      .wrong_count = "{proc}: minimumsize command must have 2 arguments.\n"}},
};
