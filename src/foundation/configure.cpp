// The library's configuration base and parameter text re-keying.
#include "foundation/configure.h"

#include "toolkit/base/errors.h"
#include "toolkit/params/kv.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

char* dupQString(const QString& s)
{
    return strdup(s.toUtf8().constData());
}

bool isWhite(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// "key value\n" as parameter text that compiles back to the same string:
// "#" escaped, or the literal block form for values that plain text cannot
// hold (new lines, white space at the ends, a block opener).
std::string stringEntry(const std::string& key, const char* value)
{
    std::string v(value);
    bool literal = v.find('\n') != std::string::npos || (!v.empty() && (isWhite(v.front()) || isWhite(v.back())))
                   || v == "&Arr{" || v == "&Tbl{" || v == "&Literal{";
    if (literal)
        return key + " &Literal{\n" + v + "\n}\n";
    std::string out = key;
    if (!v.empty())
        out += ' ';
    for (char c : v) {
        if (c == '#')
            out += '\\';
        out += c;
    }
    return out + "\n";
}

} // namespace

VXConfigure::VXConfigure()
{
    addTypeParser("color", VXConfigure_ParseConfigValue);
    addTypeParser("font", VXConfigure_ParseConfigValue);
    addTypePrinter("color", VXConfigure_PrintConfigValue);
    addTypePrinter("font", VXConfigure_PrintConfigValue);
}

VXConfigure::~VXConfigure() = default;

int VXConfigure_ParseConfigValue(HL_ConfigureSpec* spec, const char* value, char* paramRec, void* /*object_ptr*/)
{
    if (!spec || !spec->type || !paramRec)
        return HL_TYPE_NOT_HANDLED;
    const QString text = value ? QString::fromUtf8(value) : QString();
    if (strcmp(spec->type, "color") == 0) {
        VX_Color& color = *reinterpret_cast<VX_Color*>(paramRec + spec->offset);
        // parse into a copy: a bad text leaves the present colour in place
        VX_Color parsed = color;
        int r = VX_ParseColor(text, parsed);
        if (r < 0) {
            hl_register_error(0, "VXConfigure_ParseConfigValue: VX_ParseColor() error for %s.\n", spec->name);
            return -1;
        }
        if (r == 0)
            return 0;
        color = parsed;
        spec->specFlags |= HL_SPEC_CHANGED;
        return 0;
    }
    if (strcmp(spec->type, "font") == 0) {
        if ((spec->specFlags & HL_SPEC_KEEP) && (!value || !*value))
            return 0;
        VX_Font& font = *reinterpret_cast<VX_Font*>(paramRec + spec->offset);
        VX_Font parsed = font;
        int r = VX_ParseFont(text, parsed);
        if (r < 0) {
            hl_register_error(0, "VXConfigure_ParseConfigValue: VX_ParseFont() error for %s.\n", spec->name);
            return -1;
        }
        font = parsed;  // also when unchanged: the parser's own bookkeeping of font_name
        if (r > 0)
            spec->specFlags |= HL_SPEC_CHANGED;
        return 0;
    }
    return HL_TYPE_NOT_HANDLED;
}

char* VXConfigure_PrintConfigValue(HL_ConfigureSpec* spec, char* paramRec, void* /*object_ptr*/)
{
    if (!spec || !spec->type || !paramRec)
        return nullptr;
    if (strcmp(spec->type, "color") == 0)
        return dupQString(reinterpret_cast<VX_Color*>(paramRec + spec->offset)->color_name);
    if (strcmp(spec->type, "font") == 0) {
        const VX_Font& font = *reinterpret_cast<VX_Font*>(paramRec + spec->offset);
        if (font.invalid)
            return strdup("");
        if (!font.font_name.isEmpty())
            return dupQString(font.font_name);
        QString text = font.family + ',' + (font.size > 0 ? QString::number(font.size) : QString()) + ','
                       + (font.weight >= 0 ? QString::number(font.weight) : QString()) + ','
                       + (font.italic ? "yes" : "no");
        return dupQString(text);
    }
    return nullptr;
}

char* VX_make_kvstring(const QString& kvstring, const QString& input_key, const QString& output_key)
{
    const QByteArray text = kvstring.toUtf8();
    const QByteArray in = input_key.toUtf8();
    const std::string out = output_key.toStdString();
    Kv* kv = nullptr;
    if (kvcompile(text.constData(), &kv) < 0) {
        hl_register_error(0, "VX_make_kvstring: kvcompile() error.\n");
        return nullptr;
    }
    void* value = nullptr;
    int kind = kvget(kv, in.constData(), &value);
    std::string made;
    bool ok = true;
    switch (kind) {
    case KV_KIND_FILE:
    case KV_KIND_ARR:
    case KV_KIND_TBL: {
        char* sub = kv2string(static_cast<Kv*>(value));
        if (!sub) {
            hl_register_error(0, "VX_make_kvstring: kvparams(%s) error.\n", in.constData());
            ok = false;
            break;
        }
        made = kind == KV_KIND_TBL ? out + " " + sub : out + " &Arr{\n" + sub + "}\n";
        free(sub);
        break;
    }
    case KV_KIND_STRING:
        made = stringEntry(out, static_cast<const char*>(value));
        break;
    case KV_KIND_NOTFOUND:
        hl_register_error(0, "VX_make_kvstring: kvget(%s) error - key not found.\n", in.constData());
        ok = false;
        break;
    default:
        hl_register_error(0, "VX_make_kvstring: kvget(%s) error.\n", in.constData());
        ok = false;
        break;
    }
    kvfree(kv);
    return ok ? strdup(made.c_str()) : nullptr;
}
