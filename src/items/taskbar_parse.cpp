// VXTaskbar: the definition and placement texts.
#include "items/taskbar.h"
#include "items/taskbar_p.h"

#include "items/text.h"
#include "toolkit/base/errors.h"
#include "toolkit/params/kv.h"

#include <QStringList>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

// A colour of a state; 0, or -1 with a message for a bad text.
int taskbar_get_color(const char* text, VX_Color& color)
{
    return VX_ParseColor(QString::fromUtf8(text), color) < 0 ? -1 : 0;
}

struct KvHolder
{
    Kv* kv = nullptr;
    ~KvHolder() { kvfree(kv); }
};

QString takeString(char* s)
{
    QString q = QString::fromUtf8(s ? s : "");
    free(s);
    return q;
}

} // namespace

int taskbar_parse_button_state(const char* name, Kv* kv, VxTaskbarButtonStateParams* state)
{
    VxTaskbarButtonStateParams st;
    st.name = QString::fromUtf8(name);
    char* s = nullptr;
    if (kvparam(kv, "label", KV_STRING, 0, &s) < 0) {
        hl_register_error(0, "taskbar_parse_button_state: kvparam(label) error.\n");
        return -1;
    }
    st.label = takeString(s);
    s = nullptr;
    if (kvparam(kv, "description", KV_STRING, 0, &s) < 0) {
        hl_register_error(0, "taskbar_parse_button_state: kvparam(description) error.\n");
        return -1;
    }
    st.description = takeString(s);
    void* value = nullptr;
    const int kind = kvget(kv, "action", &value);
    if (kind == KV_KIND_STRING) {
        st.action.append(QString::fromUtf8(static_cast<const char*>(value)));
    } else if (kind == KV_KIND_TBL) {
        Tbl* rows = nullptr;
        if (kvparam(kv, "action", KV_TBL_STRINGS, 1, &rows) < 0) {
            hl_register_error(0, "taskbar_parse_button_state: kvparam(action) error.\n");
            return -1;
        }
        for (long i = 0; i < seqcount(rows); i++)
            st.action.append(QString::fromUtf8(static_cast<const char*>(seqget(rows, i))));
        seqfree(rows, free);
    } else {
        hl_register_error(0, "taskbar_parse_button_state: action not found.\n");
        return -1;
    }
    if (kvparam(kv, "opacity", KV_DOUBLE, 0, &st.opacity) < 0) {
        hl_register_error(0, "taskbar_parse_button_state: kvparam(opacity) error.\n");
        return -1;
    }
    for (const char* key : {"background_color", "fill_color"}) {
        s = nullptr;
        if (kvparam(kv, key, KV_STRING, 0, &s) < 0) {
            hl_register_error(0, "taskbar_parse_button_state: kvparam(%s) error.\n", key);
            return -1;
        }
        if (!s)
            continue;
        VX_Color& c = key[0] == 'b' ? st.background_color : st.fill_color;
        const int r = taskbar_get_color(s, c);
        if (r < 0) {
            hl_register_error(0, "taskbar_parse_button_state: taskbar_get_color(%s) error.\n", s);
            free(s);
            return -1;
        }
        free(s);
    }
    struct { const char* key; int type; int* out; } ints[] = {
        {"show_not_symbol", KV_BOOLEAN, &st.show_not_symbol},
        {"order", KV_INT, &st.order},
        {"visibility", KV_BOOLEAN, &st.visibility},
    };
    for (const auto& f : ints) {
        if (kvparam(kv, f.key, f.type, 0, f.out) < 0) {
            hl_register_error(0, "taskbar_parse_button_state: kvparam(%s) error.\n", f.key);
            return -1;
        }
    }
    *state = st;
    return 0;
}

int taskbar_parse_buttons_definitions(const QString& text, QHash<QString, VxTaskbarButtonParams*>* out)
{
    const QByteArray utf8 = text.toUtf8();
    KvHolder doc;
    if (VX_kvcompile(utf8.constData(), &doc.kv) < 0) {
        hl_register_error(0, "taskbar_parse_buttons_definitions: VX_kvcompile(%s) error.\n", utf8.constData());
        return -1;
    }
    Kv* defs = nullptr;
    if (kvparam(doc.kv, "buttons_definitions", KV_ARR, 1, &defs) < 0) {
        hl_register_error(0, "taskbar_parse_buttons_definitions: kvparam(buttons_definitions) error.\n");
        return -1;
    }
    QHash<QString, VxTaskbarButtonParams*> result;
    auto failed = [&]() {
        qDeleteAll(result);
        return -1;
    };
    Tbl* keys = kvkeys(defs);
    for (long i = 0; i < seqcount(keys); i++) {
        const char* name = static_cast<const char*>(seqget(keys, i));
        auto button = std::make_unique<VxTaskbarButtonParams>();
        button->name = QString::fromUtf8(name);
        Kv* def = nullptr;
        Kv* states = nullptr;
        char* description = nullptr;
        if (kvparam(defs, name, KV_ARR, 1, &def) < 0 || kvparam(def, "height", KV_INT, 0, &button->height) < 0) {
            hl_register_error(0, "taskbar_parse_buttons_definitions: kvparam(%s->height) error.\n", name);
            seqfree(keys, nullptr);
            return failed();
        }
        if (kvparam(def, "width", KV_INT, 0, &button->width) < 0) {
            hl_register_error(0, "taskbar_parse_buttons_definitions: kvparam(%s->width) error.\n", name);
            seqfree(keys, nullptr);
            return failed();
        }
        if (kvparam(def, "description", KV_STRING, 0, &description) < 0) {
            hl_register_error(0, "taskbar_parse_buttons_definitions: kvparam(%s->description) error.\n", name);
            seqfree(keys, nullptr);
            return failed();
        }
        button->description = takeString(description);
        if (kvparam(def, "states", KV_ARR, 1, &states) < 0) {
            hl_register_error(0, "taskbar_parse_buttons_definitions: kvparam(%s->states) error.\n", name);
            seqfree(keys, nullptr);
            return failed();
        }
        Tbl* state_names = kvkeys(states);
        for (long j = 0; j < seqcount(state_names); j++) {
            const char* sname = static_cast<const char*>(seqget(state_names, j));
            Kv* skv = nullptr;
            VxTaskbarButtonStateParams state;
            if (kvparam(states, sname, KV_ARR, 1, &skv) < 0 || taskbar_parse_button_state(sname, skv, &state) < 0) {
                hl_register_error(0, "taskbar_parse_buttons_definitions: taskbar_parse_button_state(%s) error.\n",
                                  sname);
                seqfree(state_names, nullptr);
                seqfree(keys, nullptr);
                return failed();
            }
            button->states.append(state);
        }
        seqfree(state_names, nullptr);
        if (button->states.isEmpty()) {
            hl_register_error(0, "taskbar_parse_buttons_definitions: kvparam(%s->states) error.\n", name);
            seqfree(keys, nullptr);
            return failed();
        }
        std::stable_sort(button->states.begin(), button->states.end(),
                         [](const VxTaskbarButtonStateParams& a, const VxTaskbarButtonStateParams& b) {
                             return a.order < b.order;
                         });
        const QString key = button->name;
        delete result.value(key);
        result.insert(key, button.release());
    }
    seqfree(keys, nullptr);
    *out = result;
    return 0;
}

int taskbar_parse_buttons(const QString& text, const QHash<QString, VxTaskbarButtonParams*>& definitions,
                          QList<VxTaskbarPlacement>* out)
{
    const QByteArray utf8 = text.toUtf8();
    KvHolder doc;
    if (VX_kvcompile(utf8.constData(), &doc.kv) < 0) {
        hl_register_error(0, "taskbar_parse_buttons: VX_kvcompile(%s) error.\n", utf8.constData());
        return -1;
    }
    Tbl* rows = nullptr;
    if (kvparam(doc.kv, "buttons", KV_TBL_STRINGS, 1, &rows) < 0) {
        hl_register_error(0, "taskbar_parse_buttons: kvparam(buttons) error.\n");
        return -1;
    }
    QList<VxTaskbarPlacement> result;
    int ret = 0;
    for (long i = 0; i < seqcount(rows) && ret == 0; i++) {
        const QString row = QString::fromUtf8(static_cast<const char*>(seqget(rows, i)));
        const QStringList f = row.split(QRegularExpression("\\s+"), Qt::SkipEmptyParts);
        if (f.size() < 4 || f.size() > 5) {
            hl_register_error(0, "taskbar_parse_buttons: Cannot parse '%s' from buttons: Need four or five fields\n",
                              row.toUtf8().constData());
            ret = -1;
            break;
        }
        VxTaskbarButtonParams* def = definitions.value(f[0]);
        if (!def) {
            hl_register_error(0, "taskbar_parse_buttons: Cannot find taskbar buttons definition for '%s'\n",
                              f[0].toUtf8().constData());
            ret = -1;
            break;
        }
        VxTaskbarPlacement p;
        p.name = f[0];
        p.justification = f[1];
        p.xpos = f[2];
        p.ypos = f[3];
        p.start = 0;
        if (f.size() == 5) {
            bool ok = false;
            p.start = f[4].toInt(&ok);
            if (!ok) {
                p.start = -1;
                for (int s = 0; s < def->states.size(); s++)
                    if (def->states[s].name == f[4])
                        p.start = s;
            }
            if (p.start < 0 || p.start >= def->states.size()) {
                hl_register_error(0,
                                  "taskbar_parse_buttons: %s: Starting value of %s outside of range of button "
                                  "states(%d).\n",
                                  f[0].toUtf8().constData(), f[4].toUtf8().constData(),
                                  static_cast<int>(def->states.size()));
                ret = -1;
                break;
            }
        }
        result.append(p);
    }
    seqfree(rows, free);
    if (ret == 0)
        *out = result;
    return ret;
}
