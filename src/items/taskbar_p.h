// Parsers of the taskbar's definition and placement texts.
#pragma once

#include "items/taskbar.h"

#include <QRegularExpression>

struct Kv;

// One row of the placement text.
struct VxTaskbarPlacement
{
    QString name, justification, xpos, ypos;
    int start = 0;  // state index
};

// The states of one button definition.  0; -1 with a message.
int taskbar_parse_button_state(const char* name, Kv* kv, VxTaskbarButtonStateParams* state);
// "buttons_definitions &Arr{...}" into new definitions (the caller owns
// them).  0; -1 with messages and *out untouched.
int taskbar_parse_buttons_definitions(const QString& text, QHash<QString, VxTaskbarButtonParams*>* out);
// "buttons &Tbl{...}" checked against definitions.  0; -1 as above.
int taskbar_parse_buttons(const QString& text, const QHash<QString, VxTaskbarButtonParams*>& definitions,
                          QList<VxTaskbarPlacement>* out);
