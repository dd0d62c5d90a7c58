#include "toolkit/geo/traveltime_p.h"

#include "toolkit/base/errors.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

constexpr size_t kMaxRows = 10000;
constexpr size_t kMaxFileBytes = 1 << 20;
constexpr double kMaxRadiusKm = 1e5;
constexpr double kMinVelocity = 0.01;  // km/s
constexpr double kMaxVelocity = 100.0;
constexpr double kCentreKm = 1e-3;  // the centre, kept off r = 0 for the logarithms

// The integrals of a shell between eta1 (top) and eta2 (below) for p under
// both: tau = k [G(eta1) - G(eta2)], delta = k [acos(p/eta1) - acos(p/eta2)],
// with G(eta) = sqrt(eta^2 - p^2) - p acos(p / eta).
void shell_integrals(double k, double ln_r, double eta1, double eta2, double p, TtLeg* leg)
{
    if (k == 0.0) {
        // eta constant through the shell: straight in (ln r, angle)
        const double q = std::sqrt(eta1 * eta1 - p * p);
        leg->tau += q * ln_r;
        leg->delta += p * ln_r / q;
        return;
    }
    const double a1 = std::acos(std::min(1.0, p / eta1)), a2 = std::acos(std::min(1.0, p / eta2));
    const double q1 = std::sqrt(std::max(0.0, eta1 * eta1 - p * p));
    const double q2 = std::sqrt(std::max(0.0, eta2 * eta2 - p * p));
    leg->tau += k * ((q1 - p * a1) - (q2 - p * a2));
    leg->delta += k * (a1 - a2);
}

bool parse_row(const std::string& line, double v[4])
{
    std::istringstream in(line);
    for (int i = 0; i < 4; i++)
        if (!(in >> v[i]) || !std::isfinite(v[i]))
            return false;
    std::string rest;
    return !(in >> rest);
}

void make_shells(TtModel* m)
{
    m->shells.clear();
    const size_t n = m->depth_km.size();
    for (size_t i = 0; i + 1 < n; i++) {
        if (m->depth_km[i + 1] <= m->depth_km[i])
            continue;  // a discontinuity
        TtShell s{};
        s.r_top_km = m->radius_km - m->depth_km[i];
        s.r_bot_km = std::max(kCentreKm, m->radius_km - m->depth_km[i + 1]);
        s.ln_r = std::log(s.r_top_km / s.r_bot_km);
        for (int w = 0; w < 2; w++) {
            const double vt = m->vel[w][i], vb = m->vel[w][i + 1];
            if (vt <= 0.0 || vb <= 0.0)
                continue;  // no S in the fluid core
            s.eta_top[w] = s.r_top_km / vt;
            s.eta_bot[w] = s.r_bot_km / vb;
            const double ln_eta = std::log(s.eta_top[w] / s.eta_bot[w]);
            s.k[w] = std::fabs(ln_eta) < 1e-12 ? 0.0 : s.ln_r / ln_eta;
        }
        if (m->depth_km[i] >= m->cmb_km && m->k_cmb == 0)
            m->k_cmb = static_cast<int>(m->shells.size());
        if (m->depth_km[i] >= m->icb_km && m->k_icb == 0)
            m->k_icb = static_cast<int>(m->shells.size());
        m->shells.push_back(s);
    }
}

} // namespace

int tt_model_read(const char* path, TtModel* model)
{
    std::ifstream in(path ? path : "", std::ios::binary);
    if (!in) {
        hl_register_error(0, "tt_model_read: Unable to open '%s'.\n", path ? path : "(null)");
        return -1;
    }
    std::string text;
    char buf[65536];
    while (in.read(buf, sizeof buf) || in.gcount() > 0) {
        text.append(buf, static_cast<size_t>(in.gcount()));
        if (text.size() > kMaxFileBytes) {
            hl_register_error(0, "tt_model_read: '%s' is larger than %zu bytes.\n", path, kMaxFileBytes);
            return -1;
        }
    }
    if (tt_model_parse(text, path, model) < 0)
        return -1;
    model->path = path;
    return 0;
}

int tt_model_parse(std::string_view text, const char* source, TtModel* model)
{
    TtModel m;
    long lineno = 0;
    auto bad = [&](const char* what) {
        hl_register_error(0, "tt_model_read: %s at line %ld of '%s'.\n", what, lineno, source);
        return -1;
    };
    size_t pos = 0;
    while (pos < text.size()) {
        size_t eol = text.find('\n', pos);
        if (eol == std::string_view::npos)
            eol = text.size();
        std::string line(text.substr(pos, eol - pos));
        pos = eol + 1;
        lineno++;
        if (line.size() > 1000)
            return bad("Line too long");
        const size_t hash = line.find('#');
        if (hash != std::string::npos)
            line.erase(hash);
        std::istringstream words(line);
        std::string key;
        if (!(words >> key))
            continue;
        if (key == "name") {
            words >> m.name;
            continue;
        }
        double value = 0.0;
        if (key == "radius_km" || key == "cmb_km" || key == "icb_km") {
            if (!(words >> value) || !std::isfinite(value) || value <= 0.0 || value > kMaxRadiusKm)
                return bad("Bad value");
            (key == "radius_km" ? m.radius_km : key == "cmb_km" ? m.cmb_km : m.icb_km) = value;
            continue;
        }
        double v[4];
        if (!parse_row(line, v))
            return bad("Expected a row of depth, vp, vs and density");
        if (m.depth_km.size() >= kMaxRows)
            return bad("Too many rows");
        if (!m.depth_km.empty() && v[0] < m.depth_km.back())
            return bad("Depth decreases");
        if (m.depth_km.empty() && v[0] != 0.0)
            return bad("The first row is not at depth 0");
        if (v[0] > m.radius_km)
            return bad("Depth below the centre");
        const bool fluid = v[0] >= m.cmb_km && v[0] <= m.icb_km;
        const bool vp_ok = v[1] >= kMinVelocity && v[1] <= kMaxVelocity;
        const bool vs_ok = v[2] == 0.0 ? fluid : v[2] >= kMinVelocity && v[2] <= kMaxVelocity;
        if (!vp_ok || !vs_ok)
            return bad("Bad velocity");
        m.depth_km.push_back(v[0]);
        m.vel[TT_P].push_back(v[1]);
        m.vel[TT_S].push_back(v[2]);
        m.rho.push_back(v[3]);
    }
    lineno = 0;
    if (!(m.radius_km > 0.0) || !(m.cmb_km > 0.0) || !(m.icb_km > m.cmb_km) || m.icb_km >= m.radius_km)
        return bad("Missing or bad radius_km, cmb_km or icb_km");
    if (m.depth_km.size() < 2 || m.depth_km.back() != m.radius_km)
        return bad("The rows do not reach the centre");
    make_shells(&m);
    if (m.k_cmb <= 0 || m.k_icb <= m.k_cmb || m.name.empty())
        return bad("No mantle, outer core or name");
    *model = std::move(m);
    return 0;
}

std::string tt_default_model_path()
{
    const char* rel = "/earthmodels/ak135.model";
    std::vector<std::string> folders;
    if (const char* env = std::getenv("VXPLOT_DATADIR"))
        folders.emplace_back(env);
#ifdef VX_DATADIR
    folders.emplace_back(VX_DATADIR);
#endif
#ifdef VX_SOURCE_DATADIR
    folders.emplace_back(VX_SOURCE_DATADIR);
#endif
    for (const std::string& f : folders) {
        const std::string p = f + rel;
        if (std::ifstream(p))
            return p;
    }
    return folders.empty() ? std::string(rel + 1) : folders.front() + rel;
}

int tt_shell_at(const TtModel& m, double depth_km)
{
    const double r = m.radius_km - depth_km;
    int lo = 0, hi = static_cast<int>(m.shells.size()) - 1;
    // the first shell whose bottom is below r
    while (lo < hi) {
        const int mid = (lo + hi) / 2;
        if (m.shells[static_cast<size_t>(mid)].r_bot_km < r)
            hi = mid;
        else
            lo = mid + 1;
    }
    return lo;
}

double tt_eta_at(const TtShell& s, int wave, double r_km)
{
    if (s.k[wave] == 0.0)
        return s.eta_top[wave];
    return s.eta_top[wave] * std::pow(r_km / s.r_top_km, 1.0 / s.k[wave]);
}

int tt_leg_down(const TtModel& m, int wave, double p, int first, int last, TtLeg* leg)
{
    for (int i = first; i < last; i++) {
        const TtShell& s = m.shells[static_cast<size_t>(i)];
        const double e1 = s.eta_top[wave], e2 = s.eta_bot[wave];
        if (p >= e1)
            return i == first ? -1 : 1;
        if (p >= e2) {
            // turns inside the shell, where eta = p
            if (s.k[wave] == 0.0)
                return 1;  // eta constant and above p: cannot happen
            shell_integrals(s.k[wave], s.ln_r, e1, p, p, leg);
            return 1;
        }
        shell_integrals(s.k[wave], s.ln_r, e1, e2, p, leg);
    }
    return 0;
}

void tt_leg_partial(const TtShell& s, int wave, double p, double r_km, TtLeg* leg)
{
    if (r_km >= s.r_top_km)
        return;
    const double ln_r = std::log(s.r_top_km / r_km);
    shell_integrals(s.k[wave], ln_r, s.eta_top[wave], tt_eta_at(s, wave, r_km), p, leg);
}
