// The point set registry.
#include "toolkit/base/hlvector.h"

#include "toolkit/base/errors.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace {

enum Family { family_vector = 1, family_vector2 = 2, family_history = 3 };

struct PointSet
{
    Family family = family_vector;
    std::vector<double> x, y0, y1;  // y1 for two-component sets only
    size_t capacity = 0;            // histories: samples kept
    size_t head = 0;                // histories: index of the oldest sample once full
};

std::mutex registry_lock;
std::map<std::string, PointSet, std::less<>> registry;

bool validHandle(const char* func, const char* handle)
{
    if (!handle || !*handle) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: empty handle.\n", func);
        return false;
    }
    const size_t n = strnlen(handle, HLVECTOR_MAX_HANDLE + 1);
    if (n > HLVECTOR_MAX_HANDLE) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: handle longer than %zu characters.\n", func, HLVECTOR_MAX_HANDLE);
        return false;
    }
    if (memchr(handle, ':', n)) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: handle '%s' holds ':'.\n", func, handle);
        return false;
    }
    return true;
}

bool validCount(const char* func, int npts, const void* a, const void* b, const void* c)
{
    if (npts < 0 || npts > HLVECTOR_MAX_POINTS) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: bad point count %d.\n", func, npts);
        return false;
    }
    if (npts > 0 && (!a || !b || !c)) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: null points.\n", func);
        return false;
    }
    return true;
}

// Copy n values out of the set in order; the caller holds the lock.
int copyOut(const char* func, const PointSet& set, const std::vector<double>& ys, double** xpts, double** ypts,
            int* npts, int* xpts_size, int* ypts_size)
{
    const size_t n = set.x.size();
    double* x = nullptr;
    double* y = nullptr;
    if (n > 0) {
        x = static_cast<double*>(malloc(n * sizeof(double)));
        y = static_cast<double*>(malloc(n * sizeof(double)));
        if (!x || !y) {
            free(x);
            free(y);
            hl_register_error(HL_SEVERITY_SYSTEM, "%s: malloc error.\n", func);
            return -1;
        }
        // a full history starts at its head
        const size_t start = set.family == family_history && n == set.capacity ? set.head : 0;
        for (size_t i = 0; i < n; i++) {
            const size_t k = (start + i) % n;
            x[i] = set.x[k];
            y[i] = ys[k];
        }
    }
    *xpts = x;
    *ypts = y;
    *npts = static_cast<int>(n);
    *xpts_size = static_cast<int>(n);
    *ypts_size = static_cast<int>(n);
    return 0;
}

// The set of handle in family, or null with a registered error; the caller
// holds the lock.
const PointSet* find(const char* func, const char* handle, Family family, const char* family_name)
{
    if (!handle)
        handle = "";
    auto it = registry.find(std::string_view(handle, strnlen(handle, HLVECTOR_MAX_HANDLE + 1)));
    if (it == registry.end() || it->second.family != family) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: Cannot find %s '%.*s'.\n", func, family_name,
                          static_cast<int>(HLVECTOR_MAX_HANDLE), handle);
        return nullptr;
    }
    return &it->second;
}

} // namespace

int hlvector_create(const char* handle, int npts, const double* x, const double* y)
{
    if (!validHandle("hlvector_create", handle) || !validCount("hlvector_create", npts, x, y, x))
        return -1;
    PointSet set;
    set.family = family_vector;
    set.x.assign(x, x + npts);
    set.y0.assign(y, y + npts);
    std::lock_guard<std::mutex> guard(registry_lock);
    registry[handle] = std::move(set);
    return 0;
}

int hlvector2_create(const char* handle, int npts, const double* x, const double* y0, const double* y1)
{
    if (!validHandle("hlvector2_create", handle) || !validCount("hlvector2_create", npts, x, y0, y1))
        return -1;
    PointSet set;
    set.family = family_vector2;
    set.x.assign(x, x + npts);
    set.y0.assign(y0, y0 + npts);
    set.y1.assign(y1, y1 + npts);
    std::lock_guard<std::mutex> guard(registry_lock);
    registry[handle] = std::move(set);
    return 0;
}

int hlhistory_create(const char* handle, int capacity)
{
    if (!validHandle("hlhistory_create", handle))
        return -1;
    if (capacity < 1 || capacity > HLVECTOR_MAX_POINTS) {
        hl_register_error(HL_SEVERITY_NORMAL, "hlhistory_create: bad capacity %d.\n", capacity);
        return -1;
    }
    PointSet set;
    set.family = family_history;
    set.capacity = static_cast<size_t>(capacity);
    std::lock_guard<std::mutex> guard(registry_lock);
    registry[handle] = std::move(set);
    return 0;
}

int hlhistory_append(const char* handle, double x, double y)
{
    std::lock_guard<std::mutex> guard(registry_lock);
    PointSet* set = const_cast<PointSet*>(find("hlhistory_append", handle, family_history, "hlhistory"));
    if (!set)
        return -1;
    if (set->x.size() < set->capacity) {
        set->x.push_back(x);
        set->y0.push_back(y);
    } else {
        set->x[set->head] = x;
        set->y0[set->head] = y;
        set->head = (set->head + 1) % set->capacity;
    }
    return 0;
}

int hlvector_delete(const char* handle)
{
    std::lock_guard<std::mutex> guard(registry_lock);
    auto it = handle ? registry.find(std::string_view(handle, strnlen(handle, HLVECTOR_MAX_HANDLE + 1)))
                     : registry.end();
    if (it == registry.end()) {
        hl_register_error(HL_SEVERITY_NORMAL, "hlvector_delete: Cannot find handle '%.*s'.\n",
                          static_cast<int>(HLVECTOR_MAX_HANDLE), handle ? handle : "");
        return -1;
    }
    registry.erase(it);
    return 0;
}

int hlvector_get_vector(const char* handle)
{
    std::lock_guard<std::mutex> guard(registry_lock);
    return find("hlvector_get_vector", handle, family_vector, "hlvector") ? 0 : -1;
}

int hlvector2_get_vector(const char* handle)
{
    std::lock_guard<std::mutex> guard(registry_lock);
    return find("hlvector2_get_vector", handle, family_vector2, "hlvector2") ? 0 : -1;
}

int hlvector_get_points(const char* handle, double** xpts, double** ypts, int* npts, int* xpts_size, int* ypts_size)
{
    std::lock_guard<std::mutex> guard(registry_lock);
    const PointSet* set = find("hlvector_get_points", handle, family_vector, "hlvector");
    if (!set)
        return -1;
    return copyOut("hlvector_get_points", *set, set->y0, xpts, ypts, npts, xpts_size, ypts_size);
}

int hlvector2_get_points(const char* handle, int component, double** xpts, double** ypts, int* npts,
                         int* xpts_size, int* ypts_size)
{
    std::lock_guard<std::mutex> guard(registry_lock);
    const PointSet* set = find("hlvector2_get_points", handle, family_vector2, "hlvector2");
    if (!set)
        return -1;
    if (component != 0 && component != 1) {
        hl_register_error(HL_SEVERITY_NORMAL, "hlvector2_get_points: no component %d in '%s'.\n", component,
                          handle);
        return -1;
    }
    return copyOut("hlvector2_get_points", *set, component == 0 ? set->y0 : set->y1, xpts, ypts, npts, xpts_size,
                   ypts_size);
}

int hlhistory_get_points(const char* handle, double** xpts, double** ypts, int* npts, int* xpts_size, int* ypts_size)
{
    std::lock_guard<std::mutex> guard(registry_lock);
    const PointSet* set = find("hlhistory_get_points", handle, family_history, "hlhistory");
    if (!set)
        return -1;
    return copyOut("hlhistory_get_points", *set, set->y0, xpts, ypts, npts, xpts_size, ypts_size);
}
