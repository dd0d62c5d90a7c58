// VXTaskbar: keys, buttons, clicks, the description popup and actions.
#include "items/taskbar.h"
#include "items/taskbar_p.h"

#include "items/text.h"
#include "items/textpopup.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPicture>

#include <cstdlib>
#include <cstring>

namespace {

enum { opt_background, opt_definitions, opt_buttons, opt_set_state, opt_font };

VXTaskbar* taskbarOf(void* object_ptr)
{
    return static_cast<VXTaskbar*>(static_cast<VXConfigure*>(object_ptr));
}

int parseOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                void* object_ptr)
{
    VxTaskbar* vars = reinterpret_cast<VxTaskbar*>(paramRec);
    VXTaskbar* bar = taskbarOf(object_ptr);
    const QString text = QString::fromUtf8(value ? value : "");
    switch (offset) {
    case opt_background: {
        VX_Color c;
        if (!text.isEmpty() && VX_ParseColor(text, c) < 0)
            return -1;
        vars->background = c;
        break;
    }
    case opt_definitions:
        if (text.isEmpty())
            return 0;
        if (bar->setButtonsDefinitions(text) < 0)
            return -1;
        break;
    case opt_buttons:
        if (text.isEmpty())
            return 0;
        if (bar->setButtons(text) < 0)
            return -1;
        break;
    case opt_set_state:
        if (text.isEmpty())
            return 0;
        if (bar->setState(text) < 0)
            return -1;
        break;
    case opt_font: {
        VX_Font f;
        if (VX_ParseFont(text, f) < 0)
            return -1;
        vars->font = f;
        vars->font_string = text;
        const QByteArray utf8 = text.toUtf8();
        for (VxTaskbarButtonParams* b : vars->buttons_list)
            b->vx_text->configure("font", utf8.constData(), nullptr);
        break;
    }
    default:
        return -1;
    }
    spec->specFlags |= HL_SPEC_CHANGED;
    bar->setItemStale();
    return 0;
}

char* printOption(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxTaskbar* vars = reinterpret_cast<const VxTaskbar*>(paramRec);
    switch (offset) {
    case opt_background: return strdup(vars->background.color_name.toUtf8().constData());
    case opt_definitions: return strdup(vars->buttons_definitions_string.toUtf8().constData());
    case opt_buttons: return strdup(vars->buttons_string.toUtf8().constData());
    case opt_set_state: return strdup("");
    case opt_font: return strdup(vars->font_string.toUtf8().constData());
    default: return strdup("Illegal offset value");
    }
}

HL_CustomOption opt_taskbar = {parseOption, printOption, nullptr};

HL_ConfigureSpec taskbar_specs[] = {
    {"custom", "taskbar_background", nullptr, opt_background, 0, &opt_taskbar},
    {"custom", "taskbar_buttons_definitions", nullptr, opt_definitions, 0, &opt_taskbar},
    {"custom", "taskbar_buttons", nullptr, opt_buttons, 0, &opt_taskbar},
    {"custom", "taskbar_set_state", nullptr, opt_set_state, 0, &opt_taskbar},
    {"custom", "taskbar_default_font", "courier,12", opt_font, 0, &opt_taskbar},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

QByteArray utf8(const QString& s)
{
    return s.toUtf8();
}

// The look of state on text.
void applyLook(VXText* text, const VxTaskbarButtonStateParams& state)
{
    char opacity[64], not_symbol[16];
    snprintf(opacity, sizeof opacity, "%f", state.opacity);
    snprintf(not_symbol, sizeof not_symbol, "%d", state.show_not_symbol);
    text->configure("text", utf8(state.label).constData(), "opacity", opacity, "show_not_symbol", not_symbol,
                    nullptr);
    // an unset colour leaves the text's own
    if (state.fill_color.color.isValid())
        text->configure("color_text", utf8(state.fill_color.color_name).constData(), nullptr);
    if (state.background_color.color.isValid())
        text->configure("color_background", utf8(state.background_color.color_name).constData(), nullptr);
}

} // namespace

int taskbar_button_callback(VXText* text, int type, QEvent* event, void* client_data)
{
    VxTaskbarButtonParams* button = static_cast<VxTaskbarButtonParams*>(client_data);
    VXTaskbar* bar = button->taskbar;
    VxTaskbar& v = bar->vars;
    if (type == 2) {
        if (text->vars.select)
            return 2;
        for (VxTaskbarButtonParams* b : v.buttons_list)
            b->vx_text->vars.select = 0;
        if (v.popup)
            v.popup->stopTimer();
        const VxTaskbarButtonStateParams& state = button->states[button->current];
        VXViewport* vp = bar->getViewportParent();
        if (!state.description.isEmpty() && vp && text->vars.path && v.popup) {
            // the box of the last draw, in widget pixels
            const QRectF box = text->vars.path->boundingRect();
            v.popup->setText(state.description);
            v.popup->setJustification("nw");
            v.popup->setPosition(vp->mapToGlobal(box.bottomLeft().toPoint()));
            v.popup->setTimeout(2.5);
            v.popup->raiseTextPopup();
        }
        text->vars.select = 1;
        v.selection_index = button->index;
        bar->setItemStale();
        if (vp)
            vp->update();
        return 2;
    }
    if (type == 1) {
        if (text->vars.select) {
            button->current = (button->current + 1) % static_cast<int>(button->states.size());
            bar->setState(button, &button->states[button->current],
                          event && (event->type() == QEvent::MouseButtonPress) ? static_cast<QMouseEvent*>(event)
                                                                               : nullptr);
        }
        return 2;
    }
    return 1;
}

VXTaskbar::VXTaskbar(VXViewport* master) : VXViewportItem(master, nullptr, QStringLiteral("VXTaskbar"), 1)
{
    vars.popup = new VXTextPopup(master);
    setConfigureSpecs(taskbar_specs, reinterpret_cast<char*>(&vars), "VXTaskbar", static_cast<VXConfigure*>(this), 1);
}

VXTaskbar::~VXTaskbar()
{
    retireButtons(vars.buttons_list);
    for (VxTaskbarButtonParams* b : retired)
        delete b->vx_text;
    qDeleteAll(retired);
    qDeleteAll(vars.buttons_definitions);
    delete vars.popup;
}

void VXTaskbar::retireButtons(QList<VxTaskbarButtonParams*>& list)
{
    for (VxTaskbarButtonParams* b : list) {
        // the text leaves the paint loop now and is freed later
        b->vx_text->hideItem();
        retired.append(b);
    }
    list.clear();
}

void VXTaskbar::setOwner(VXConfigure* o)
{
    owner = o;
}

void VXTaskbar::setCommandCallback(std::function<int(QString, void*)> callback, HL_ClientData client_data)
{
    command_callbacks.append({std::move(callback), client_data});
}

int VXTaskbar::setButtonsDefinitions(const QString& text)
{
    QHash<QString, VxTaskbarButtonParams*> defs;
    if (taskbar_parse_buttons_definitions(text, &defs) < 0)
        return -1;
    QList<VxTaskbarPlacement> placement;
    if (!vars.buttons_string.isEmpty() && taskbar_parse_buttons(vars.buttons_string, defs, &placement) < 0) {
        qDeleteAll(defs);
        return -1;
    }
    qDeleteAll(vars.buttons_definitions);
    vars.buttons_definitions = defs;
    vars.buttons_definitions_string = text;
    if (!vars.buttons_string.isEmpty())
        return setButtons(vars.buttons_string);
    return 0;
}

int VXTaskbar::setButtons(const QString& text)
{
    QList<VxTaskbarPlacement> placement;
    if (taskbar_parse_buttons(text, vars.buttons_definitions, &placement) < 0)
        return -1;
    clearSelection();
    retireButtons(vars.buttons_list);
    vars.buttons_string = text;
    VXViewport* vp = getViewportParent();
    VXText* previous = nullptr;
    for (const VxTaskbarPlacement& p : placement) {
        auto* button = new VxTaskbarButtonParams(*vars.buttons_definitions.value(p.name));
        button->taskbar = this;
        button->index = static_cast<int>(vars.buttons_list.size());
        button->current = p.start;
        button->vx_text = new VXText(vp, "", utf8(p.xpos).constData(), utf8(p.ypos).constData());
        // the taskbar draws and asks its buttons itself
        button->vx_text->item_process_pvt = 0;
        if (!vars.font_string.isEmpty())
            button->vx_text->configure("font", utf8(vars.font_string).constData(), nullptr);
        applyLook(button->vx_text, button->states[button->current]);
        char size[32];
        button->vx_text->configure("justification", utf8(p.justification).constData(), nullptr);
        button->vx_text->setRelative(previous);
        snprintf(size, sizeof size, "%d", button->height);
        button->vx_text->configure("height", size, nullptr);
        snprintf(size, sizeof size, "%d", button->width);
        button->vx_text->configure("width", size, nullptr);
        button->vx_text->setTextCallback(taskbar_button_callback, button);
        previous = button->vx_text;
        vars.buttons_list.append(button);
    }
    setItemStale();
    if (vp)
        vp->update();
    return 0;
}

int VXTaskbar::setStateIndex(QString button, QString state, VxTaskbarButtonParams** pbutton,
                             VxTaskbarButtonStateParams** pstate)
{
    for (VxTaskbarButtonParams* b : vars.buttons_list) {
        if (b->name != button)
            continue;
        *pbutton = b;
        for (int i = 0; i < b->states.size(); i++) {
            if (b->states[i].name == state) {
                *pstate = &b->states[i];
                return i;
            }
        }
        return -1;
    }
    *pbutton = nullptr;
    return -1;
}

int VXTaskbar::setState(QString request)
{
    const QStringList parts = request.split(':');
    if (parts.size() != 2) {
        hl_register_error(0, "VXTaskber::setState: request must have one ':' character\n");
        return -1;
    }
    VxTaskbarButtonParams* button = nullptr;
    VxTaskbarButtonStateParams* state = nullptr;
    const int index = setStateIndex(parts[0], parts[1], &button, &state);
    if (!button) {
        hl_register_error(0, "VXTaskber::setState: Cannot find '%s' in buttons definitions\n",
                          utf8(parts[0]).constData());
        return -1;
    }
    if (index < 0) {
        hl_register_error(0, "VXTaskber::setState: Cannot find '%s' in states list\n", utf8(parts[1]).constData());
        return -1;
    }
    button->current = index;
    setState(button, state, nullptr);
    return 0;
}

void VXTaskbar::setState(VxTaskbarButtonParams* button, VxTaskbarButtonStateParams* state, QMouseEvent* event)
{
    applyLook(button->vx_text, *state);
    // the actions may rebuild the buttons: run them from a copy and touch
    // neither the button nor the state after them
    const QList<QString> action = state->action;
    setItemStale();
    if (VXViewport* vp = getViewportParent())
        vp->update();
    executeCommand(action, event);
}

void VXTaskbar::executeCommand(const QList<QString>& action, QMouseEvent* event)
{
    static const QRegularExpression blanks("\\s+");
    const bool shift = event && (event->modifiers() & Qt::ShiftModifier);
    for (const QString& line : action) {
        QStringList words = line.split(blanks, Qt::SkipEmptyParts);
        if (words.size() < 2)
            continue;
        if (words[0].startsWith("mod=")) {
            const QString condition = words[0].mid(4);
            if (condition == "shift") {
                if (!shift)
                    continue;
            } else if (condition == "notshift") {
                if (shift)
                    continue;
            } else {
                continue;
            }
            words.removeFirst();
        }
        if (words[0] == "configure" && words.size() >= 3) {
            const QByteArray key = utf8(words[1]);
            const QByteArray value = utf8(words.mid(2).join(' '));
            VXConfigure* target = owner ? owner : static_cast<VXConfigure*>(getViewportParent());
            if (!target || target->configure(key.constData(), value.constData(), nullptr) < 0) {
                hl_complain(0, "taskbar_execute_command: configure ( %s, %s ) failed.\n", key.constData(),
                            value.constData());
                hl_clear_register(0);
            }
        } else if (words[0] == "command" && words.size() >= 2) {
            const QString command = words.mid(1).join(' ');
            const QList<VxTaskbarCommandCallback> callbacks = command_callbacks;
            for (const VxTaskbarCommandCallback& cb : callbacks) {
                if (cb.callback_proc && cb.callback_proc(command, cb.client_data) < 0) {
                    hl_complain(0, "taskbar_execute_command: command ( %s ) failed.\n", utf8(command).constData());
                    hl_clear_register(0);
                }
            }
        }
    }
}

void VXTaskbar::clearSelection()
{
    if (vars.selection_index < 0)
        return;
    if (vars.popup) {
        vars.popup->stopTimer();
        vars.popup->hide();
    }
    for (VxTaskbarButtonParams* b : vars.buttons_list)
        b->vx_text->vars.select = 0;
    vars.selection_index = -1;
    setItemStale();
    if (VXViewport* vp = getViewportParent()) {
        vp->unsetCursor();
        vp->update();
    }
}

int VXTaskbar::processEvent(int type, QEvent* event)
{
    QMouseEvent* mouse = nullptr;
    if (event && (event->type() == QEvent::MouseMove || event->type() == QEvent::MouseButtonPress ||
                  event->type() == QEvent::MouseButtonRelease))
        mouse = static_cast<QMouseEvent*>(event);
    if (mouse) {
        for (VxTaskbarButtonParams* b : vars.buttons_list)
            if (b->vx_text->contains(mouse))
                return b->vx_text->processEvent(type, event);
    }
    clearSelection();
    return 1;
}

int VXTaskbar::drawViewportItem(QPainter* painter)
{
    // buttons retired by an action are out of every callback frame now
    for (VxTaskbarButtonParams* b : retired)
        delete b->vx_text;
    qDeleteAll(retired);
    retired.clear();
    if (!painter || vars.buttons_list.isEmpty())
        return 0;
    if (vars.background.color.isValid()) {
        // the boxes come from a placement pass when a button has none yet
        bool placed = true;
        for (VxTaskbarButtonParams* b : vars.buttons_list)
            placed = placed && b->vx_text->vars.path;
        if (!placed) {
            QPicture scratch;
            QPainter p(&scratch);
            for (VxTaskbarButtonParams* b : vars.buttons_list)
                b->vx_text->draw(&p);
        }
        QRectF all;
        for (VxTaskbarButtonParams* b : vars.buttons_list)
            if (b->vx_text->vars.path)
                all = all.united(b->vx_text->vars.path->boundingRect());
        painter->fillRect(all.adjusted(-1, -1, 1, 1), vars.background.color);
    }
    int drawn = 0;
    for (VxTaskbarButtonParams* b : vars.buttons_list)
        drawn |= b->vx_text->draw(painter);
    return drawn;
}
