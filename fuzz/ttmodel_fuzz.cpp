// libFuzzer target for the earth-model files of the travel-time service:
// the input is the text of a model file.  A model that parses must have
// its shells in order from the surface down, and a mantle and cores.
#include "toolkit/base/errors.h"
#include "toolkit/geo/traveltime_p.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 65536)
        size = 65536;
    TtModel m;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (tt_model_parse(text, "fuzz", &m) == 0) {
        if (m.shells.empty() || m.k_cmb <= 0 || m.k_icb <= m.k_cmb)
            abort();
        for (size_t i = 0; i < m.shells.size(); i++) {
            const TtShell& s = m.shells[i];
            if (!(s.r_top_km > s.r_bot_km) || (i && s.r_top_km > m.shells[i - 1].r_bot_km) ||
                !std::isfinite(s.ln_r))
                abort();
        }
    }
    hl_clear_register(0);
    return 0;
}
