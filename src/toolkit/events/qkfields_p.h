// Reading fields out of a record's text by the table's schema, for the
// event service's own modules.  A missing field or a bad number gives the
// fallback.
#pragma once

#include "toolkit/store/rsschema_p.h"

#include <algorithm>
#include <cstring>
#include <string_view>

inline std::string_view qk_field_text(const RsTableDef* d, std::string_view rec, int field)
{
    if (!d || field < 0)
        return {};
    const RsFieldDef& f = d->fields[static_cast<size_t>(field)];
    if (!f.inText() || static_cast<size_t>(f.offset + f.width) > rec.size())
        return {};
    return rec.substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width));
}

inline int qk_field(const RsTableDef* d, const char* name)
{
    return d ? d->fieldIndex(name) : -1;
}

inline long qk_long(const RsTableDef* d, std::string_view rec, int field, long fallback = -1)
{
    long v = fallback;
    std::string_view t = qk_field_text(d, rec, field);
    if (t.empty() || rs_parse_long(t, &v) < 0)
        return fallback;
    return v;
}

inline double qk_double(const RsTableDef* d, std::string_view rec, int field, double fallback)
{
    double v = fallback;
    std::string_view t = qk_field_text(d, rec, field);
    if (t.empty() || rs_parse_double(t, &v) < 0)
        return fallback;
    return v;
}

inline long qk_long(const RsTableDef* d, std::string_view rec, const char* name, long fallback = -1)
{
    return qk_long(d, rec, qk_field(d, name), fallback);
}

inline double qk_double(const RsTableDef* d, std::string_view rec, const char* name, double fallback)
{
    return qk_double(d, rec, qk_field(d, name), fallback);
}

// A text field, trimmed.
inline std::string_view qk_text(const RsTableDef* d, std::string_view rec, const char* name)
{
    return rs_trim(qk_field_text(d, rec, qk_field(d, name)));
}

// Copy text into a record array, cut to fit and ended by a NUL.
template <size_t N>
void qk_copy_text(char (&to)[N], std::string_view from)
{
    const size_t n = std::min(N - 1, from.size());
    memcpy(to, from.data(), n);
    to[n] = '\0';
}
