// libFuzzer target for the event service's text input: value and sort
// queries over a small event list (the input is the query), and the word
// splitting of snetsta and schanloc lines (the same input as a line).
#include "toolkit/base/errors.h"
#include "toolkit/events/qkclient.h"
#include "toolkit/events/qkseed_p.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t max_input = 4096;

const Table<QKEvent>& events()
{
    static Table<QKEvent>* list = [] {
        auto* t = new Table<QKEvent>;
        for (long i = 0; i < 3; i++) {
            QKEvent e;
            e.evid = 10 + i;
            e.prefor_time = 1.0e9 - static_cast<double>(i);
            QKOrigin o;
            o.orid = 20 + i;
            o.preferred = 1;
            e.origins.push(o);  // with an empty record: fields read as null
            e.pref_origin = i == 1 ? -1 : 0;
            t->push(e);
        }
        return t;
    }();
    return *list;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > max_input)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data), size);
    QKClient client(nullptr);
    char value[RS_STRSZ];
    int type = 0;
    if (client.getValue(&events(), text, &type, value) == 0 && (type < 1 || type > 3))
        abort();
    if (type == 3 && strlen(value) >= static_cast<size_t>(RS_STRSZ))
        abort();
    client.getValue(&events().get(0).origins, text, &type, value);
    int status = -1;
    Table<int> order = client.sort(&events(), text, 1, &status);
    if (status == 0 && order.max() != events().max())
        abort();
    if ((client.checkSortQuery(&events(), text) == 0) != (status == 0))
        abort();  // a query that checks sorts, and only such a query
    std::vector<std::string> words;
    const int n = qk_split_words(text, &words, 8);
    if (n > 8 || n != static_cast<int>(words.size()))
        abort();
    for (const std::string& w : words)
        if (w.empty() || w.find(' ') != std::string::npos)
            abort();
    hl_clear_register(0);
    return 0;
}
