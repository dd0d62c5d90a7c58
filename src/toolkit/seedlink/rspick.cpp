#include "toolkit/seedlink/rspick.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

// One item of a channel list cut into its parts; absent parts are empty.
struct Item
{
    std::string sta, chan, copy;
};

std::string_view trimmed(std::string_view s)
{
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
        s.remove_suffix(1);
    return s;
}

// The comma-separated items of list, blanks around them trimmed.
std::vector<std::string_view> items(std::string_view list)
{
    std::vector<std::string_view> out;
    size_t at = 0;
    for (;;) {
        const size_t comma = list.find(',', at);
        out.push_back(trimmed(list.substr(at, comma == std::string_view::npos ? std::string_view::npos : comma - at)));
        if (comma == std::string_view::npos)
            return out;
        at = comma + 1;
    }
}

// Cut "sta:chan;copy"; false with a registered error (by who) when the item
// has more than one ':' or ';'.
bool cut(std::string_view item, Item* out, const char* who)
{
    const size_t colon = item.find(':'), semi = item.find(';');
    if (colon != std::string_view::npos && item.find(':', colon + 1) != std::string_view::npos) {
        hl_register_error(0, "%s: Item '%.*s' has more than one ':'.\n", who, static_cast<int>(item.size()),
                          item.data());
        return false;
    }
    if (semi != std::string_view::npos && item.find(';', semi + 1) != std::string_view::npos) {
        hl_register_error(0, "%s: Item '%.*s' has more than one ';'.\n", who, static_cast<int>(item.size()),
                          item.data());
        return false;
    }
    const std::string_view names = item.substr(0, semi);
    out->copy = semi == std::string_view::npos ? std::string() : std::string(item.substr(semi + 1));
    if (colon != std::string_view::npos && colon < names.size()) {
        out->sta = std::string(names.substr(0, colon));
        out->chan = std::string(names.substr(colon + 1));
    } else {
        out->sta = std::string(names);
        out->chan.clear();
    }
    return true;
}

} // namespace

int rspickMatchString(const char* spec, const char* string)
{
    if (!spec || !*spec || strcmp(spec, "*") == 0)
        return 1;
    std::string anchored = spec;
    if (anchored.front() != '^')
        anchored.insert(0, 1, '^');
    // a "$" of its own ends it; an escaped "\$" is a dollar sign to match
    const size_t n = anchored.size();
    if (anchored.back() != '$' || (n >= 2 && anchored[n - 2] == '\\'))
        anchored.push_back('$');
    const int m = strregmatch(string ? string : "", anchored.c_str(), nullptr);
    if (m < 0) {
        hl_register_error(0, "rspickMatchString: Bad regular expression '%s'.\n", spec);
        return -1;
    }
    return m;
}

int rspickMatchStachans(const char* stachans, const char* sta, const char* chan, int copy)
{
    if (!stachans || !*stachans || strcmp(stachans, "*") == 0)
        return 0;
    const std::string copy_text = std::to_string(copy);
    int place = 0;
    for (std::string_view text : items(stachans)) {
        Item item;
        if (!cut(text, &item, "rspickMatchStachans"))
            return -2;
        int all = 1;
        for (const auto& [spec, name] : {std::pair<const std::string&, const char*>{item.sta, sta},
                                         {item.chan, chan},
                                         {item.copy, copy_text.c_str()}}) {
            const int m = rspickMatchString(spec.c_str(), name);
            if (m < 0) {
                hl_register_error(0, "rspickMatchStachans: Bad item '%.*s'.\n", static_cast<int>(text.size()),
                                  text.data());
                return -2;
            }
            if (m == 0) {
                all = 0;
                break;
            }
        }
        if (all)
            return place;
        place++;
    }
    return -1;
}

int rspickStachans2ScvStachans(const QString& stachans, QString& scv)
{
    const QByteArray bytes = stachans.toUtf8();
    QString out;
    int pairs = 0;
    for (std::string_view text : items(std::string_view(bytes.constData(), static_cast<size_t>(bytes.size())))) {
        if (text.empty())
            continue;
        Item item;
        if (!cut(text, &item, "rspickStachans2ScvStachans"))
            return -1;
        const bool bare = text.find(':') == std::string_view::npos;
        auto any = [](const std::string& s) { return s.empty() || s == "*"; };
        QString pair;
        if (bare && !any(item.sta))
            pair = QString::asprintf("%s" ".* .*", item.sta.c_str());
        else
            pair = QString::fromStdString(any(item.sta) ? ".*" : item.sta) + QLatin1Char(' ') +
                   QString::fromStdString(any(item.chan) ? ".*" : item.chan);
        if (pairs++ > 0)
            out += QLatin1Char(',');
        out += pair;
    }
    scv = out;
    return pairs;
}
