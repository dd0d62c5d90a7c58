// A row of small multi-state text buttons on a plot, defined entirely by
// parameter text (docs/taskbar.md).
//
// taskbar_buttons_definitions gives, per button name, its size, description
// and states; each state has a label, a look and a list of actions.
// taskbar_buttons places buttons: one row per button with its name,
// justification, x and y pixel expressions and start state.  A click moves
// a button to its next state (wrapping) and runs that state's actions:
// "configure KEY VALUE..." goes to the owner's configure(), "command
// WORDS..." to the command callbacks; a leading "mod=shift" or
// "mod=notshift" makes a line depend on the shift key.  Hovering shows the
// state's description in a popup for 2.5 seconds.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QPointer>
#include <QString>

#include <functional>

class QEvent;
class QMouseEvent;
class QPainter;
class VXTaskbar;
class VXText;
class VXTextPopup;
class VXViewport;

struct VxTaskbarButtonStateParams
{
    double opacity = 1.0;
    int show_not_symbol = 0;     // stroke through the button in this state
    int order = 0;               // states are sorted by it, ascending
    int visibility = 1;          // read and kept; no effect on drawing
    QString name, label, description;
    QList<QString> action;       // lines
    VX_Color fill_color, background_color;  // text, box
};

struct VxTaskbarButtonParams
{
    VXTaskbar* taskbar = nullptr;
    int width = 0, height = 0;   // pixels; 0 automatic
    VXText* vx_text = nullptr;   // the button, owned; null in a definition
    int index = 0;               // place in buttons_list
    int current = 0;             // current state
    QString description, name;
    QList<VxTaskbarButtonStateParams> states;
};

struct VxTaskbarCommandCallback
{
    std::function<int(QString, void*)> callback_proc;
    HL_ClientData client_data = nullptr;
};

struct VxTaskbar
{
    int selection_index = -1;    // button under the pointer, -1 none
    // owned; a child of the viewport too, so it goes with the viewport
    // when that is deleted first
    QPointer<VXTextPopup> popup;
    VX_Color background;         // behind the buttons, unset for none
    VX_Font font;
    QString buttons_definitions_string;
    QHash<QString, VxTaskbarButtonParams*> buttons_definitions;  // owned
    QString buttons_string;
    QList<VxTaskbarButtonParams*> buttons_list;                  // owned
    QString font_string;
};

class VXPLOT_EXPORT VXTaskbar : public VXViewportItem, public VXConfigure
{
public:
    // Keys: taskbar_background, taskbar_buttons_definitions,
    // taskbar_buttons, taskbar_set_state, taskbar_default_font
    // ("courier,12").
    explicit VXTaskbar(VXViewport* master);
    ~VXTaskbar() override;

    // Where "configure" actions go; the viewport when none is set.
    void setOwner(VXConfigure* owner);

    // "button:state": make that state current and apply it with no event
    // (so "mod=" lines take the shift key as up).  0; -1 with a message.
    int setState(QString request);
    // Apply the look of state to button's text and run its actions.
    void setState(VxTaskbarButtonParams* button, VxTaskbarButtonStateParams* state, QMouseEvent* event);
    // Find a placed button and one of its states by name; the state's
    // index, or -1 (nothing registered) when either is unknown.
    int setStateIndex(QString button, QString state, VxTaskbarButtonParams** pbutton,
                      VxTaskbarButtonStateParams** pstate);
    void setCommandCallback(std::function<int(QString, void*)> callback, HL_ClientData client_data);

    // Parse and install the definitions; the placed buttons are rebuilt.
    // 0; -1 with the messages registered and everything as it was.
    int setButtonsDefinitions(const QString& text);
    // Parse and install the placement.  0; -1 as above.
    int setButtons(const QString& text);

    int processEvent(int type, QEvent* event) override;
    int drawViewportItem(QPainter* painter) override;
    void setVisibility() override {}

    VxTaskbar vars;
    QList<VxTaskbarCommandCallback> command_callbacks;

private:
    friend int taskbar_button_callback(VXText* text, int type, QEvent* event, void* client_data);
    void executeCommand(const QList<QString>& action, QMouseEvent* event);
    void clearSelection();
    void retireButtons(QList<VxTaskbarButtonParams*>& list);

    VXConfigure* owner = nullptr;
    // buttons replaced while one of their own actions ran; freed later,
    // outside every callback frame
    QList<VxTaskbarButtonParams*> retired;
};
