// The earth model and the ray integrals behind the travel-time service.
// Private to the library.
#pragma once

#include "vxplot_export.h"

#include <string>
#include <string_view>
#include <vector>

enum { TT_P = 0, TT_S = 1 };

// One shell between two rows of the model, where the velocity of each wave
// follows v = a r^b, so that eta = r / v = eta_top (r / r_top)^(1 - b).
struct TtShell
{
    double r_top_km, r_bot_km;
    double eta_top[2], eta_bot[2];  // r / v at the top and bottom, s/rad; 0 where v is 0
    double k[2];                    // 1 / (1 - b); 0 where eta is constant
    double ln_r;                    // ln(r_top / r_bot)
};

// The model as read from its file, and its shells.
struct TtModel
{
    std::string name;
    std::string path;
    double radius_km = 0.0;
    double cmb_km = 0.0;
    double icb_km = 0.0;
    std::vector<double> depth_km, vel[2], rho;  // the rows
    std::vector<TtShell> shells;                // from the surface down
    int k_cmb = 0;                              // first shell of the outer core
    int k_icb = 0;                              // first shell of the inner core
};

// Reads a model file; 0, or -1 with a registered line naming the file and
// the line at fault (*model unchanged).
VXPLOT_EXPORT int tt_model_read(const char* path, TtModel* model);

// The same from the text of a file; source names it in messages.
VXPLOT_EXPORT int tt_model_parse(std::string_view text, const char* source, TtModel* model);

// The default model's file: "$VXPLOT_DATADIR/earthmodels/ak135.model", else
// the installed data folder, else the source tree's.
std::string tt_default_model_path();

// The shell holding depth_km (just below it at a discontinuity), and eta of
// wave there, with the shell's own law of velocity.
int tt_shell_at(const TtModel& m, double depth_km);
double tt_eta_at(const TtShell& s, int wave, double r_km);

// Sums of one leg of a ray of parameter p (s/rad) down through the shells
// [first, last): the delay time tau (s) and the distance (rad).
struct TtLeg
{
    double tau = 0.0;
    double delta = 0.0;
};

// Integrates down from the top of shell first.  Returns -1 if the ray
// cannot enter (p at or above eta at the top of first), 1 if it turns in
// the range (in a shell or on top of a faster one), 0 if it reaches the
// bottom of shell last - 1.
int tt_leg_down(const TtModel& m, int wave, double p, int first, int last, TtLeg* leg);

// The part of a shell from its top down to r_km (above its bottom), for a
// ray that does not turn in it (p below eta all the way).
void tt_leg_partial(const TtShell& s, int wave, double p, double r_km, TtLeg* leg);
