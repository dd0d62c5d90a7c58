// Helpers for tests of configuration keys: a printed value as text.
#pragma once

#include <cstdlib>
#include <memory>
#include <string>

// What target.getConfigureValue(key) prints (target an object, a pointer
// or a smart pointer), "(null)" when it prints nothing; the text is freed.
template <typename T>
std::string configText(T&& target, const char* key)
{
    char* text = nullptr;
    if constexpr (requires { target->getConfigureValue(key); })
        text = target->getConfigureValue(key);
    else
        text = target.getConfigureValue(key);
    std::string out = text ? text : "(null)";
    free(text);
    return out;
}
