// libFuzzer target for the string helpers: number and boolean parsing, word
// cutting, and whole-string regular expression matches (the first line of
// the input is the expression, the rest the text).
#include "toolkit/base/errors.h"
#include "toolkit/base/lists.h"
#include "toolkit/base/strings.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t max_input = 4096;

void checkWords(Tbl* words)
{
    for (long i = 0; i < seqcount(words); i++) {
        const char* w = static_cast<const char*>(seqget(words, i));
        if (!w || !*w)
            abort();  // words are never empty
        int value = 0;
        HL_ParseBoolean(w, &value);
        char* end = nullptr;
        fixed_strtod(w, &end);
        if (end < w || end > w + strlen(w))
            abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > max_input)
        size = max_input;
    std::string text(reinterpret_cast<const char*>(data), size);
    const char* s = text.c_str();  // an embedded NUL ends the string early
    size_t length = strlen(s);

    char* end = nullptr;
    fixed_strtod(s, &end);
    if (end < s || end > s + length)
        abort();

    int value = 0;
    HL_ParseBoolean(s, &value);

    Tbl* words = strcutwhite(s);
    checkWords(words);
    int argc = 0;
    char** argv = nullptr;
    if (strcutlist(s, &argc, &argv) == 0) {
        if (argc != seqcount(words) || argv[argc] != nullptr)
            abort();
        strfreewords(argc, argv);
    }
    seqfree(words, free);

    std::string copy(s);
    Tbl* parts = strcut(copy.data(), length ? s[0] : ',');
    seqfree(parts, nullptr);
    strclip(copy.data());

    // first line: the expression; the rest: the text
    const char* nl = strchr(s, '\n');
    std::string regex(s, nl ? static_cast<size_t>(nl - s) : length);
    const char* subject = nl ? nl + 1 : "";
    static void* hook = nullptr;
    int uncached = strregmatch(subject, regex.c_str(), nullptr);
    int cached = strregmatch(subject, regex.c_str(), &hook);
    if (uncached != cached)
        abort();

    void* stack = nullptr;
    strpush(&stack, regex.c_str());
    strpush(&stack, subject);
    char* joined = strpop(&stack, 1);
    if (!joined || strlen(joined) != regex.size() + strlen(subject))
        abort();
    free(joined);

    hl_clear_register(0);
    return 0;
}
