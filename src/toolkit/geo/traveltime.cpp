#include "toolkit/geo/traveltime.h"

#include "toolkit/base/errors.h"
#include "toolkit/geo/geo.h"
#include "toolkit/geo/traveltime_p.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int kGrid = 6000;     // ray parameters sampled for a surface source
constexpr size_t kCached = 16;  // source depths whose tables are kept
constexpr double kDeg = M_PI / 180.0;

// Sums of the surface legs over the ray-parameter grid: from the surface
// down to the turning point, or to the core for rays that reach it.
struct SurfaceTables
{
    std::vector<double> p;  // s/rad, rising
    std::vector<double> tau_m[2], del_m[2];
    std::vector<signed char> turned_m[2];  // 1 turns in the mantle, 0 reaches the core, -1 no ray
    std::vector<double> tau_c, del_c;      // P, from the core-mantle boundary down and back up to it
    std::vector<signed char> core;         // 1 turns in the outer core, 2 in the inner core, 0 neither
    std::vector<double> tau_k, del_k;      // P, down through the outer core and back from the inner core
    std::vector<signed char> icb;          // 1 reaches the inner core: PKiKP
    double p_diff[2], tau_diff[2], del_diff[2];  // the ray grazing the core, one surface leg
};

// A stretch of a branch where the distance is monotonic.
struct Run
{
    int i0, i1;
    double dmin, dmax;
};

// A branch of one phase for one source depth: points of ray parameter p
// (s/rad), distance d (rad) and time t (s); or, for a diffracted phase,
// the line t = t0 + pd (d - d0) from d0 on.
struct Branch
{
    const char* name;
    int wave_src;  // the wave that leaves the source
    int wave_end;  // the wave that reaches the station
    bool up;       // leaves the source upwards
    std::vector<double> p, d, t;
    std::vector<int> starts;  // first point of each unbroken stretch
    std::vector<Run> runs;
    bool diffracted = false;
    double d0 = 0.0, t0 = 0.0, pd = 0.0;
};

struct DepthTables
{
    double depth_km;
    double r_src_km;
    double v_src[2];
    std::vector<Branch> branches;
};

struct Service
{
    std::mutex mutex;  // guards the members, never held by callers
    std::shared_ptr<const TtModel> model;
    std::shared_ptr<const SurfaceTables> surface;
    std::list<std::shared_ptr<const DepthTables>> cache;  // most recent first
};

Service& service()
{
    static Service s;
    return s;
}

std::shared_ptr<const SurfaceTables> make_surface(const TtModel& m)
{
    auto st = std::make_shared<SurfaceTables>();
    const double pmax = m.shells[0].eta_top[TT_S];
    // even steps, and both sides of every shell's eta, where branches end
    // (grazing and reflected rays) and the distance changes fastest
    for (int k = 0; k < kGrid; k++)
        st->p.push_back(k * pmax / kGrid);
    for (const TtShell& sh : m.shells)
        for (int w = 0; w < 2; w++)
            for (double eta : {sh.eta_top[w], sh.eta_bot[w]})
                if (eta > 1.0 && eta < pmax)  // not the centre's: p = 0 reaches it
                    for (double f : {1.0 - 1e-9, 1.0 + 1e-9})
                        st->p.push_back(eta * f);
    std::sort(st->p.begin(), st->p.end());
    st->p.erase(std::unique(st->p.begin(), st->p.end()), st->p.end());
    const size_t ng = st->p.size();
    const int n = static_cast<int>(m.shells.size());
    st->tau_c.assign(ng, 0.0);
    st->del_c.assign(ng, 0.0);
    st->core.assign(ng, 0);
    st->tau_k.assign(ng, 0.0);
    st->del_k.assign(ng, 0.0);
    st->icb.assign(ng, 0);
    for (int w = 0; w < 2; w++) {
        st->tau_m[w].assign(ng, 0.0);
        st->del_m[w].assign(ng, 0.0);
        st->turned_m[w].assign(ng, -1);
        for (size_t i = 0; i < ng; i++) {
            TtLeg leg;
            const int r = tt_leg_down(m, w, st->p[i], 0, m.k_cmb, &leg);
            if (r < 0)
                continue;
            st->turned_m[w][i] = static_cast<signed char>(r);
            st->tau_m[w][i] = leg.tau;
            st->del_m[w][i] = leg.delta;
            if (w != TT_P || r != 0)
                continue;
            TtLeg core;
            int c = tt_leg_down(m, TT_P, st->p[i], m.k_cmb, m.k_icb, &core) == 1 ? 1 : 0;
            if (!c) {
                st->icb[i] = 1;
                st->tau_k[i] = 2.0 * core.tau;
                st->del_k[i] = 2.0 * core.delta;
                const int ic = tt_leg_down(m, TT_P, st->p[i], m.k_icb, n, &core);
                c = ic == 1 || (ic == 0 && st->p[i] == 0.0) ? 2 : 0;
            }
            st->core[i] = static_cast<signed char>(c);
            st->tau_c[i] = 2.0 * core.tau;
            st->del_c[i] = 2.0 * core.delta;
            if (c == 2 && st->p[i] == 0.0)
                st->del_c[i] = M_PI;  // straight through the centre, to the antipode
        }
        const TtShell& last = m.shells[static_cast<size_t>(m.k_cmb - 1)];
        st->p_diff[w] = last.eta_bot[w];
        TtLeg leg;
        tt_leg_down(m, w, st->p_diff[w], 0, m.k_cmb, &leg);
        st->tau_diff[w] = leg.tau;
        st->del_diff[w] = leg.delta;
    }
    return st;
}

// The leg from the source up to the surface, for p under eta all the way.
TtLeg up_leg(const TtModel& m, int w, double p, int s_idx, double r_src)
{
    TtLeg leg;
    tt_leg_down(m, w, p, 0, s_idx, &leg);
    tt_leg_partial(m.shells[static_cast<size_t>(s_idx)], w, p, r_src, &leg);
    return leg;
}

void add_point(Branch& b, bool valid, double p, double d, double tau, bool* broken)
{
    if (!valid) {
        *broken = true;
        return;
    }
    if (*broken || b.p.empty())
        b.starts.push_back(static_cast<int>(b.p.size()));
    *broken = false;
    b.p.push_back(p);
    b.d.push_back(d);
    b.t.push_back(tau + p * d);
}

void make_runs(Branch& b)
{
    const int n = static_cast<int>(b.p.size());
    for (size_t s = 0; s < b.starts.size(); s++) {
        const int end = s + 1 < b.starts.size() ? b.starts[s + 1] : n;
        int i0 = b.starts[s];
        while (i0 < end - 1) {
            const bool rising = b.d[static_cast<size_t>(i0 + 1)] >= b.d[static_cast<size_t>(i0)];
            int i1 = i0 + 1;
            while (i1 + 1 < end && (b.d[static_cast<size_t>(i1 + 1)] >= b.d[static_cast<size_t>(i1)]) == rising)
                i1++;
            const double a = b.d[static_cast<size_t>(i0)], z = b.d[static_cast<size_t>(i1)];
            b.runs.push_back({i0, i1, std::min(a, z), std::max(a, z)});
            i0 = i1;
        }
    }
}

Branch branch(const char* name, int wave_src, int wave_end, bool up)
{
    Branch b;
    b.name = name;
    b.wave_src = wave_src;
    b.wave_end = wave_end;
    b.up = up;
    return b;
}

std::shared_ptr<const DepthTables> make_depth(const TtModel& m, const SurfaceTables& st, double depth_km)
{
    auto dt = std::make_shared<DepthTables>();
    dt->depth_km = depth_km;
    const double r_src = m.radius_km - depth_km;
    dt->r_src_km = r_src;
    const int s_idx = tt_shell_at(m, depth_km);
    const TtShell& ss = m.shells[static_cast<size_t>(s_idx)];
    double eu[2];  // rays under eta_up leave the source upwards and reach the surface
    for (int w = 0; w < 2; w++) {
        eu[w] = tt_eta_at(ss, w, r_src);
        for (int i = 0; i < s_idx; i++)
            eu[w] = std::min({eu[w], m.shells[static_cast<size_t>(i)].eta_top[w],
                              m.shells[static_cast<size_t>(i)].eta_bot[w]});
        eu[w] = std::min(eu[w], ss.eta_top[w]);
        dt->v_src[w] = r_src / tt_eta_at(ss, w, r_src);
    }
    const bool deep = depth_km > 0.0;
    Branch up[2] = {branch("P", TT_P, TT_P, true), branch("S", TT_S, TT_S, true)};
    Branch down[2] = {branch("P", TT_P, TT_P, false), branch("S", TT_S, TT_S, false)};
    Branch refl[2] = {branch("PcP", TT_P, TT_P, false), branch("ScS", TT_S, TT_S, false)};
    Branch pP = branch("pP", TT_P, TT_P, true), sP = branch("sP", TT_S, TT_P, true);
    Branch pkp = branch("PKP", TT_P, TT_P, false), df = branch("PKPdf", TT_P, TT_P, false);
    Branch pkikp = branch("PKiKP", TT_P, TT_P, false);
    bool bu[2] = {true, true}, bd[2] = {true, true}, br[2] = {true, true};
    bool bpp = true, bsp = true, bpkp = true, bdf = true, bki = true;
    for (size_t k = 0; k < st.p.size(); k++) {
        const double p = st.p[k];
        TtLeg u[2];
        for (int w = 0; w < 2; w++)
            if (p < eu[w] && deep)
                u[w] = up_leg(m, w, p, s_idx, r_src);
        for (int w = 0; w < 2; w++) {
            const bool ok = p < eu[w];
            const double d = 2.0 * st.del_m[w][k] - u[w].delta, tau = 2.0 * st.tau_m[w][k] - u[w].tau;
            add_point(up[w], ok && deep, p, u[w].delta, u[w].tau, &bu[w]);
            add_point(down[w], ok && st.turned_m[w][k] == 1, p, d, tau, &bd[w]);
            add_point(refl[w], ok && st.turned_m[w][k] == 0, p, d, tau, &br[w]);
        }
        const bool okp = p < eu[TT_P] && st.turned_m[TT_P][k] == 1;
        add_point(pP, okp && deep, p, 2.0 * st.del_m[TT_P][k] + u[TT_P].delta,
                  2.0 * st.tau_m[TT_P][k] + u[TT_P].tau, &bpp);
        add_point(sP, okp && deep && p < eu[TT_S], p, 2.0 * st.del_m[TT_P][k] + u[TT_S].delta,
                  2.0 * st.tau_m[TT_P][k] + u[TT_S].tau, &bsp);
        const bool okc = p < eu[TT_P] && st.turned_m[TT_P][k] == 0;
        const double dc = 2.0 * st.del_m[TT_P][k] - u[TT_P].delta + st.del_c[k];
        const double tc = 2.0 * st.tau_m[TT_P][k] - u[TT_P].tau + st.tau_c[k];
        add_point(pkp, okc && st.core[k] == 1, p, dc, tc, &bpkp);
        add_point(df, okc && st.core[k] == 2, p, dc, tc, &bdf);
        add_point(pkikp, okc && st.icb[k] == 1, p, dc - st.del_c[k] + st.del_k[k], tc - st.tau_c[k] + st.tau_k[k],
                  &bki);
    }
    // close the gap between the up-going and the down-going rays with the
    // ray that leaves the source horizontally
    for (int w = 0; w < 2; w++) {
        const double p = eu[w] * (1.0 - 1e-12);
        TtLeg u = deep ? up_leg(m, w, p, s_idx, r_src) : TtLeg{}, s;
        if (tt_leg_down(m, w, p, 0, m.k_cmb, &s) == 1) {
            bool no = false;
            if (deep)
                add_point(up[w], true, p, u.delta, u.tau, &no);
            add_point(down[w], true, p, 2.0 * s.delta - u.delta, 2.0 * s.tau - u.tau, &no);
        }
    }
    for (int w = 0; w < 2; w++) {
        dt->branches.push_back(std::move(up[w]));
        dt->branches.push_back(std::move(down[w]));
        dt->branches.push_back(std::move(refl[w]));
    }
    dt->branches.push_back(std::move(pP));
    dt->branches.push_back(std::move(sP));
    dt->branches.push_back(std::move(df));
    dt->branches.push_back(std::move(pkikp));
    // the outer-core branch folds at its least distance: ab above, bc below
    if (!pkp.p.empty()) {
        const size_t fold = static_cast<size_t>(std::min_element(pkp.d.begin(), pkp.d.end()) - pkp.d.begin());
        Branch bc = branch("PKPbc", TT_P, TT_P, false), ab = branch("PKPab", TT_P, TT_P, false);
        bool b1 = true, b2 = true;
        for (size_t i = 0; i < pkp.p.size(); i++) {
            Branch& b = i <= fold ? bc : ab;
            add_point(b, true, pkp.p[i], pkp.d[i], pkp.t[i] - pkp.p[i] * pkp.d[i], i <= fold ? &b1 : &b2);
            if (i == fold)
                add_point(ab, true, pkp.p[i], pkp.d[i], pkp.t[i] - pkp.p[i] * pkp.d[i], &b2);
        }
        dt->branches.push_back(std::move(ab));
        dt->branches.push_back(std::move(bc));
    }
    // diffracted along the core from the grazing ray on
    const char* diff_name[2] = {"Pdiff", "Sdiff"};
    for (int w = 0; w < 2; w++) {
        const double p = st.p_diff[w];
        if (!(p < eu[w]))
            continue;
        TtLeg u = deep ? up_leg(m, w, p, s_idx, r_src) : TtLeg{};
        Branch b = branch(diff_name[w], w, w, false);
        b.diffracted = true;
        b.pd = p;
        b.d0 = 2.0 * st.del_diff[w] - u.delta;
        b.t0 = 2.0 * st.tau_diff[w] - u.tau + p * b.d0;
        dt->branches.push_back(std::move(b));
    }
    for (Branch& b : dt->branches)
        make_runs(b);
    return dt;
}

// The earliest time of the branch at distance d (rad) and its ray
// parameter; false when the branch does not reach d.
bool branch_time(const Branch& b, double d, double* t, double* p)
{
    if (b.diffracted) {
        if (d < b.d0)
            return false;
        *t = b.t0 + b.pd * (d - b.d0);
        *p = b.pd;
        return true;
    }
    bool found = false;
    for (const Run& r : b.runs) {
        for (double dq : {d, 2.0 * M_PI - d}) {
            if (dq < r.dmin || dq > r.dmax)
                continue;
            // the interval [j, j + 1] of the run holding dq
            int lo = r.i0, hi = r.i1;
            const bool rising = b.d[static_cast<size_t>(r.i1)] >= b.d[static_cast<size_t>(r.i0)];
            while (hi - lo > 1) {
                const int mid = (lo + hi) / 2;
                if ((b.d[static_cast<size_t>(mid)] <= dq) == rising)
                    lo = mid;
                else
                    hi = mid;
            }
            const size_t j = static_cast<size_t>(lo);
            const double dd = b.d[j + 1] - b.d[j];
            const double f = dd != 0.0 ? (dq - b.d[j]) / dd : 0.0;
            const double px = b.p[j] + f * (b.p[j + 1] - b.p[j]);
            // dT/dDelta = p: the trapezoid of p over the interval
            const double tx = b.t[j] + (dq - b.d[j]) * 0.5 * (b.p[j] + px);
            if (!found || tx < *t) {
                *t = tx;
                *p = px;
                found = true;
            }
        }
    }
    return found;
}

// Loads the default model and its surface tables if there are none; with
// the service's mutex held.
int ensure_model(Service& s, const char* caller)
{
    if (s.model)
        return 0;
    auto m = std::make_shared<TtModel>();
    const std::string path = tt_default_model_path();
    if (tt_model_read(path.c_str(), m.get()) < 0) {
        hl_register_error(0, "%s: No earth model.\n", caller);
        return -1;
    }
    s.surface = make_surface(*m);
    s.model = std::move(m);
    return 0;
}

// Names of branches that a requested phase selects; null for an unknown one.
const char* const* phase_members(std::string_view name)
{
    static const char* const p[] = {"P", "Pdiff", "PKPab", "PKPbc", "PKPdf", "PKiKP", nullptr};
    static const char* const s[] = {"S", "Sdiff", nullptr};
    static const char* const pkp[] = {"PKPab", "PKPbc", "PKPdf", "PKiKP", nullptr};
    static const char* const pkikp[] = {"PKPdf", nullptr};
    static const char* const single[][2] = {{"pP", nullptr},    {"sP", nullptr},    {"PcP", nullptr},
                                            {"ScS", nullptr},   {"Pdiff", nullptr}, {"Sdiff", nullptr},
                                            {"PKPab", nullptr}, {"PKPbc", nullptr}, {"PKPdf", nullptr},
                                            {"PKiKP", nullptr}};
    if (name == "P")
        return p;
    if (name == "S")
        return s;
    if (name == "PKP")
        return pkp;
    if (name == "PKIKP")
        return pkikp;
    for (const auto& one : single)
        if (name == one[0])
            return one;
    return nullptr;
}

// Splits a phase list; false with a registered line for an unknown phase.
bool parse_phases(const char* caller, const char* phases, std::vector<std::string>* names)
{
    std::vector<std::string> out;
    std::string_view s(phases ? phases : "");
    if (s.size() > 1000) {
        hl_register_error(0, "%s: Phase list too long.\n", caller);
        return false;
    }
    size_t i = 0;
    while (i < s.size()) {
        while (i < s.size() && (s[i] == ',' || s[i] == ' ' || s[i] == '\t'))
            i++;
        size_t j = i;
        while (j < s.size() && !(s[j] == ',' || s[j] == ' ' || s[j] == '\t'))
            j++;
        if (j > i) {
            const std::string_view w = s.substr(i, j - i);
            if (!phase_members(w)) {
                hl_register_error(0, "%s: Unknown phase '%.*s'.\n", caller, static_cast<int>(w.size()), w.data());
                return false;
            }
            out.emplace_back(w);
        }
        i = j;
    }
    *names = std::move(out);
    return true;
}

bool check_depth(const char* caller, const TtModel& m, double depth_km)
{
    if (!(depth_km >= 0.0)) {
        hl_register_error(0, "%s: Depth %g km is above the surface of model %s.\n", caller, depth_km, m.name.c_str());
        return false;
    }
    if (!(depth_km < m.cmb_km)) {
        hl_register_error(0, "%s: Depth %g km is below the mantle of model %s (%g km).\n", caller, depth_km,
                          m.name.c_str(), m.cmb_km);
        return false;
    }
    return true;
}

int compute(const char* caller, double depth_km, double distance_deg, double elev_km,
            const std::vector<std::string>& names, double vp_surface, double vs_surface, TtArrival* out, int nmax)
{
    if (!(distance_deg >= 0.0 && distance_deg <= 180.0) || !std::isfinite(elev_km) || std::fabs(elev_km) > 100.0 ||
        !out || nmax < 0) {
        hl_register_error(0, "%s: Bad distance %g degrees or elevation %g km.\n", caller, distance_deg, elev_km);
        return -1;
    }
    Service& s = service();
    std::shared_ptr<const TtModel> model;
    std::shared_ptr<const DepthTables> tables;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (ensure_model(s, caller) < 0)
            return -1;
        model = s.model;
        if (!check_depth(caller, *model, depth_km))
            return -1;
        for (auto it = s.cache.begin(); it != s.cache.end(); ++it) {
            if ((*it)->depth_km == depth_km) {
                tables = *it;
                s.cache.splice(s.cache.begin(), s.cache, it);
                break;
            }
        }
        if (!tables) {
            tables = make_depth(*model, *s.surface, depth_km);
            s.cache.push_front(tables);
            if (s.cache.size() > kCached)
                s.cache.pop_back();
        }
    }
    const double d = std::min(M_PI, distance_deg * kDeg);  // 180 degrees may round above pi
    const double v_top[2] = {vp_surface > 0.0 ? vp_surface : model->vel[TT_P][0],
                             vs_surface > 0.0 ? vs_surface : model->vel[TT_S][0]};
    TtArrival found[TT_MAX_ARRIVALS];
    int n = 0;
    for (const Branch& b : tables->branches) {
        bool wanted = false;
        for (const std::string& name : names)
            for (const char* const* m = phase_members(name); *m && !wanted; m++)
                wanted = strcmp(*m, b.name) == 0;
        double t = 0.0, p = 0.0;
        if (!wanted || !branch_time(b, d, &t, &p))
            continue;
        const double p_km = p / model->radius_km, v = v_top[b.wave_end];
        t += elev_km * std::sqrt(std::max(0.0, 1.0 / (v * v) - p_km * p_km));
        int slot = 0;
        while (slot < n && strcmp(found[slot].phase, b.name) != 0)
            slot++;
        if (slot < n && found[slot].time_s <= t)
            continue;
        if (slot == n) {
            if (n == TT_MAX_ARRIVALS)
                continue;
            n++;
        }
        TtArrival& a = found[slot];
        snprintf(a.phase, sizeof a.phase, "%s", b.name);
        a.time_s = t;
        a.slowness_s_deg = p * kDeg;
        a.emergence_deg = std::asin(std::min(1.0, p_km * v)) / kDeg;
        const double takeoff =
            std::asin(std::min(1.0, p * tables->v_src[b.wave_src] / tables->r_src_km)) / kDeg;
        a.takeoff_deg = b.up ? 180.0 - takeoff : takeoff;
    }
    // "P" takes PKiKP only where the direct P is missing: beyond the core
    // shadow it is the second P-type arrival before PKPdf appears
    bool direct_p = false, named_pkikp = false;
    for (int i = 0; i < n; i++)
        direct_p = direct_p || strcmp(found[i].phase, "P") == 0;
    for (const std::string& name : names)
        named_pkikp = named_pkikp || name == "PKiKP" || name == "PKP";
    if (direct_p && !named_pkikp)
        n = static_cast<int>(std::remove_if(found, found + n,
                                            [](const TtArrival& a) { return strcmp(a.phase, "PKiKP") == 0; }) -
                             found);
    std::sort(found, found + n, [](const TtArrival& a, const TtArrival& b) { return a.time_s < b.time_s; });
    const int count = std::min(n, nmax);
    std::copy(found, found + count, out);
    return count;
}

// The state of the ttp_ calls, guarded by ttp_mutex.
std::mutex ttp_mutex;
std::vector<std::string> ttp_phases = {"P"};
double ttp_depth_km = 0.0;

} // namespace

int tt_compute(double depth_km, double distance_deg, double elev_km, const char* phases, double vp_surface_km_s,
               double vs_surface_km_s, TtArrival* out, int nmax)
{
    std::vector<std::string> names;
    if (!parse_phases("tt_compute", phases, &names))
        return -1;
    return compute("tt_compute", depth_km, distance_deg, elev_km, names, vp_surface_km_s, vs_surface_km_s, out,
                   nmax);
}

int tt_set_model(const char* path)
{
    auto m = std::make_shared<TtModel>();
    const std::string file = path ? std::string(path) : tt_default_model_path();
    if (tt_model_read(file.c_str(), m.get()) < 0) {
        hl_register_error(0, "tt_set_model: Unable to read the model '%s'.\n", file.c_str());
        return -1;
    }
    auto st = make_surface(*m);
    Service& s = service();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.model = std::move(m);
    s.surface = std::move(st);
    s.cache.clear();
    return 0;
}

double tt_model_velocity(char wave, double depth_km)
{
    Service& s = service();
    std::shared_ptr<const TtModel> m;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (ensure_model(s, "tt_model_velocity") < 0)
            return -1.0;
        m = s.model;
    }
    if ((wave != 'P' && wave != 'S') || !(depth_km >= 0.0 && depth_km <= m->radius_km)) {
        hl_register_error(0, "tt_model_velocity: No %c velocity at %g km.\n", wave, depth_km);
        return -1.0;
    }
    const TtShell& sh = m->shells[static_cast<size_t>(tt_shell_at(*m, depth_km))];
    const int w = wave == 'P' ? TT_P : TT_S;
    const double r = std::max(sh.r_bot_km, m->radius_km - depth_km);
    const double eta = tt_eta_at(sh, w, r);
    return eta > 0.0 ? r / eta : 0.0;
}

void ttp_grab_mutex()
{
    ttp_mutex.lock();
}

void ttp_release_mutex()
{
    ttp_mutex.unlock();
}

int ttp_set_phases(const char* phases)
{
    std::vector<std::string> names;
    if (!parse_phases("ttp_set_phases", phases, &names))
        return -1;
    ttp_phases = std::move(names);
    return static_cast<int>(ttp_phases.size());
}

int ttp_set_event_depth(double depth_km)
{
    Service& s = service();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (ensure_model(s, "ttp_set_event_depth") < 0 || !check_depth("ttp_set_event_depth", *s.model, depth_km))
        return -1;
    ttp_depth_km = depth_km;
    return 0;
}

int ttp_compute(double olat, double olon, double lat, double lon, double elev_km, double vp_surface_km_s,
                double vs_surface_km_s, TtArrival* out, int nmax)
{
    if (!(std::fabs(olat) <= 90.0 && std::fabs(lat) <= 90.0 && std::isfinite(olon) && std::isfinite(lon))) {
        hl_register_error(0, "ttp_compute: Bad position %g, %g or %g, %g.\n", olat, olon, lat, lon);
        return -1;
    }
    double del = 0.0;
    geoarc(&del, nullptr, olat * kDeg, olon * kDeg, lat * kDeg, lon * kDeg);
    return compute("ttp_compute", ttp_depth_km, del / kDeg, elev_km, ttp_phases, vp_surface_km_s, vs_surface_km_s,
                   out, nmax);
}
