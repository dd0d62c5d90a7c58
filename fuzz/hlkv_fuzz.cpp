// libFuzzer target for parameter documents kept as written: a text either
// fails to load with nothing changed, or loads and comes back byte for
// byte; every entry's value is then checked against its constraints, set
// again through setValue() (which must leave a text that still loads and
// reads the value back), and given a new comment.
#include <VX.h>

#include "toolkit/params/hlkv.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr size_t max_input = 1 << 18;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > max_input)
        size = max_input;
    const std::string text(reinterpret_cast<const char*>(data), size);
    HLKv kv;
    if (kv.compile(text) < 0) {
        if (kv.size() != 0 || !kv.getKvString().empty())
            __builtin_trap();
        hl_clear_register(0);
        return 0;
    }
    if (kv.getKvString() != text)
        __builtin_trap();
    // the constraint texts themselves, alone
    for (int i = 0; i < kv.size(); i++) {
        bool sound = false;
        const std::string rules = kv.getConstraints(i, &sound);
        std::vector<HLKv_Constraint> parsed;
        if (HLKv::parseConstraints(rules, &parsed) != sound && !rules.empty())
            __builtin_trap();
        std::string message;
        std::vector<int> bad;
        const bool ok = kv.checkValue(i, kv.getValue(i), &message, &bad);
        if (ok != message.empty() || ok != bad.empty())
            __builtin_trap();
    }
    // edit a few entries with their own value reversed and reload
    const int edits = kv.size() < 8 ? kv.size() : 8;
    std::vector<std::pair<int, std::string>> done;
    for (int i = 0; i < edits; i++) {
        std::string v = kv.getValue(i);
        v.assign(v.rbegin(), v.rend());
        if (kv.setValue(i, v, 0) == 0)
            done.emplace_back(i, kv.getValue(i));
        kv.setComment(i, "c");
    }
    hl_clear_register(0);
    HLKv again;
    if (again.compile(kv.getKvString()) < 0 || again.size() != kv.size())
        __builtin_trap();
    for (const auto& [i, v] : done)
        if (again.getValue(i) != v)
            __builtin_trap();
    hl_clear_register(0);
    return 0;
}
