// The state record behind the opaque Hook of the filter service.  Private
// to the library.
#pragma once

#include "toolkit/signal/iir_p.h"

#include <string>
#include <vector>

enum WfStageKind {
    WF_STAGE_NONE = 0,
    WF_STAGE_BUTTERWORTH = 1,
    WF_STAGE_DEMEAN = 2,
};

// One stage of a filter chain: what the text said, and once designed for a
// sample interval, its sections and their memory.
struct WfFilterStage
{
    int kind = WF_STAGE_NONE;
    std::string text;  // the stage's words, blank separated, for messages
    double lo_hz = 0.0;
    double hi_hz = 0.0;
    int lo_order = 0;
    int hi_order = 0;
    std::string lo_word;  // the corners as written
    std::string hi_word;
    std::vector<WfBiquad> sections;
    std::vector<WfBiquadState> states;
    double mean_sum = 0.0;  // DEMEAN over a stream: samples since the restart
    long mean_count = 0;
};

struct Hook
{
    std::string filter;  // the text this state was made for
    double dt_s = 0.0;   // the interval the sections are designed for; 0 none yet
    double next_time = 0.0;
    bool have_next = false;  // next_time is known: a packet has been filtered
    std::vector<WfFilterStage> stages;
};
