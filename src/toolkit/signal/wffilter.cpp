#include "toolkit/signal/wffilter.h"

#include "toolkit/base/errors.h"
#include "toolkit/signal/wffilter_p.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <strings.h>

namespace {

// The gap marker of the waveform loaders (toolkit/waveio/wfgap.h, which
// this folder may not include; the tests hold the two equal).
constexpr float kGapValue = 2.12345e30f;

constexpr size_t kMaxText = 4096;
constexpr int kMaxStages = 16;
constexpr int kMaxOrder = 10;

bool is_gap(float v)
{
    return v == kGapValue || std::isnan(v);
}

bool word_is(std::string_view w, const char* name)
{
    return w.size() == strlen(name) && strncasecmp(w.data(), name, w.size()) == 0;
}

bool parse_number(std::string_view w, double* value)
{
    const char* end = w.data() + w.size();
    auto [p, ec] = std::from_chars(w.data(), end, *value);
    return ec == std::errc() && p == end && std::isfinite(*value);
}

bool parse_order(std::string_view w, int* value)
{
    const char* end = w.data() + w.size();
    auto [p, ec] = std::from_chars(w.data(), end, *value);
    return ec == std::errc() && p == end && *value >= 0 && *value <= kMaxOrder;
}

// The words of one stage, split at blanks.
std::vector<std::string_view> split_words(std::string_view s)
{
    std::vector<std::string_view> words;
    size_t i = 0;
    while (i < s.size()) {
        while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\n' || s[i] == '\r'))
            i++;
        size_t j = i;
        while (j < s.size() && !(s[j] == ' ' || s[j] == '\t' || s[j] == '\n' || s[j] == '\r'))
            j++;
        if (j > i)
            words.push_back(s.substr(i, j - i));
        i = j;
    }
    return words;
}

// Parses one stage from its words; false with a registered line.
bool parse_stage(const std::vector<std::string_view>& words, WfFilterStage* st)
{
    for (size_t i = 0; i < words.size(); i++) {
        if (i)
            st->text += ' ';
        st->text.append(words[i]);
    }
    const char* text = st->text.c_str();
    const std::string first(words[0]);
    auto extra = [&](size_t n) {
        if (words.size() <= n)
            return false;
        hl_register_error(0, "wffilter_parse: Extra word '%s' in '%s'.\n", std::string(words[n]).c_str(), text);
        return true;
    };
    if (word_is(words[0], "none")) {
        st->kind = WF_STAGE_NONE;
        return !extra(1);
    }
    if (word_is(words[0], "DEMEAN")) {
        st->kind = WF_STAGE_DEMEAN;
        return !extra(1);
    }
    if (!word_is(words[0], "BW")) {
        hl_register_error(0, "wffilter_parse: Unknown word '%s' in '%s'.\n", first.c_str(), text);
        return false;
    }
    st->kind = WF_STAGE_BUTTERWORTH;
    if (words.size() < 5) {
        hl_register_error(0, "wffilter_parse: '%s' needs four numbers: BW lo olo hi ohi.\n", text);
        return false;
    }
    if (extra(5))
        return false;
    const std::string lo(words[1]), olo(words[2]), hi(words[3]), ohi(words[4]);
    if (!parse_number(words[1], &st->lo_hz) || st->lo_hz < 0.0) {
        hl_register_error(0, "wffilter_parse: Bad corner '%s' in '%s': a frequency of 0 Hz or more.\n", lo.c_str(),
                          text);
        return false;
    }
    if (!parse_order(words[2], &st->lo_order)) {
        hl_register_error(0, "wffilter_parse: Bad order '%s' in '%s': a whole number from 0 to %d.\n", olo.c_str(),
                          text, kMaxOrder);
        return false;
    }
    if (!parse_number(words[3], &st->hi_hz) || st->hi_hz < 0.0) {
        hl_register_error(0, "wffilter_parse: Bad corner '%s' in '%s': a frequency of 0 Hz or more.\n", hi.c_str(),
                          text);
        return false;
    }
    if (!parse_order(words[4], &st->hi_order)) {
        hl_register_error(0, "wffilter_parse: Bad order '%s' in '%s': a whole number from 0 to %d.\n", ohi.c_str(),
                          text, kMaxOrder);
        return false;
    }
    if ((st->lo_hz > 0.0 && st->lo_order == 0) || (st->hi_hz > 0.0 && st->hi_order == 0)) {
        const std::string& w = st->lo_hz > 0.0 && st->lo_order == 0 ? olo : ohi;
        hl_register_error(0, "wffilter_parse: Bad order '%s' in '%s': a corner above 0 needs an order of 1 or more.\n",
                          w.c_str(), text);
        return false;
    }
    if (st->lo_hz == 0.0 && st->hi_hz == 0.0) {
        hl_register_error(0, "wffilter_parse: '%s' has no corner above 0 Hz.\n", text);
        return false;
    }
    if (st->lo_hz > 0.0 && st->hi_hz > 0.0 && st->lo_hz >= st->hi_hz) {
        hl_register_error(0, "wffilter_parse: Lower corner '%s' in '%s' is not below the upper corner '%s'.\n",
                          lo.c_str(), text, hi.c_str());
        return false;
    }
    st->lo_word = lo;
    st->hi_word = hi;
    return true;
}

// Parses the whole text into stages (none for an empty text or "none").
int parse_chain(const char* filter, std::vector<WfFilterStage>* stages)
{
    if (!filter)
        return 0;
    const size_t len = strnlen(filter, kMaxText + 1);
    if (len > kMaxText) {
        hl_register_error(0, "wffilter_parse: Filter text longer than %zu characters.\n", kMaxText);
        return -1;
    }
    std::string_view s(filter, len);
    size_t start = 0;
    while (start <= s.size()) {
        size_t end = s.find(';', start);
        if (end == std::string_view::npos)
            end = s.size();
        const auto words = split_words(s.substr(start, end - start));
        if (!words.empty()) {
            if (static_cast<int>(stages->size()) >= kMaxStages) {
                hl_register_error(0, "wffilter_parse: More than %d stages in '%.60s'.\n", kMaxStages, filter);
                return -1;
            }
            WfFilterStage st;
            if (!parse_stage(words, &st))
                return -1;
            if (st.kind != WF_STAGE_NONE)
                stages->push_back(std::move(st));
        }
        start = end + 1;
    }
    return static_cast<int>(stages->size());
}

// Designs the sections of every stage for samples dt_s apart; false with a
// registered line for a corner at or above the Nyquist frequency.
bool design(Hook* h, double dt_s)
{
    const double nyquist = 0.5 / dt_s;
    for (WfFilterStage& st : h->stages) {
        if (st.kind != WF_STAGE_BUTTERWORTH)
            continue;
        const bool lo_bad = st.lo_hz >= nyquist, hi_bad = st.hi_hz >= nyquist;
        if (lo_bad || hi_bad) {
            hl_register_error(0, "wffilter_pkt2: Corner '%s' of '%s' is not below the Nyquist frequency %g Hz.\n",
                              (lo_bad ? st.lo_word : st.hi_word).c_str(), st.text.c_str(), nyquist);
            return false;
        }
        st.sections.clear();
        if (st.lo_hz > 0.0)
            wf_butterworth_sections(true, st.lo_order, st.lo_hz, dt_s, st.sections);
        if (st.hi_hz > 0.0)
            wf_butterworth_sections(false, st.hi_order, st.hi_hz, dt_s, st.sections);
        st.states.assign(st.sections.size(), WfBiquadState{});
    }
    h->dt_s = dt_s;
    return true;
}

void restart(Hook* h)
{
    for (WfFilterStage& st : h->stages) {
        for (WfBiquadState& s : st.states)
            s.primed = false;
        st.mean_sum = 0.0;
        st.mean_count = 0;
    }
}

// The index of the first gap sample at or after i, or n.
long next_gap(const float* x, long i, long n)
{
    while (i < n && !is_gap(x[i]))
        i++;
    return i;
}

// Runs every stage over the samples from x[0], a number, up to the next gap
// or n; the first stage finds where the run ends as it goes.  Returns the
// length of the run.
long run_stages(Hook* h, float* x, long n, bool stream)
{
    long end = -1;
    for (WfFilterStage& st : h->stages) {
        if (st.kind == WF_STAGE_BUTTERWORTH) {
            const long m = end < 0 ? n : end;
            const long got = wf_cascade_run(st.sections.data(), st.states.data(),
                                            static_cast<int>(st.sections.size()), x, m, end < 0, kGapValue);
            if (end < 0)
                end = got;
            continue;
        }
        if (end < 0)
            end = next_gap(x, 1, n);
        if (st.kind != WF_STAGE_DEMEAN)
            continue;
        if (stream) {
            // the mean so far, sample by sample, so that the split into
            // packets does not matter
            double sum = st.mean_sum;
            long count = st.mean_count;
            for (long i = 0; i < end; i++) {
                sum += x[i];
                count++;
                x[i] = static_cast<float>(x[i] - sum / static_cast<double>(count));
            }
            st.mean_sum = sum;
            st.mean_count = count;
        } else {
            double sum = 0.0;
            for (long i = 0; i < end; i++)
                sum += x[i];
            const double mean = sum / static_cast<double>(end);
            for (long i = 0; i < end; i++)
                x[i] = static_cast<float>(x[i] - mean);
        }
    }
    return end < 0 ? next_gap(x, 1, n) : end;
}

} // namespace

int wffilter_parse(Hook** hook, const char* filter)
{
    std::vector<WfFilterStage> stages;
    const int n = parse_chain(filter, &stages);
    if (n < 0)
        return -1;
    if (hook) {
        release_hook(hook);
        *hook = new Hook;
        (*hook)->filter = filter ? filter : "";
        (*hook)->stages = std::move(stages);
    }
    return n;
}

int wffilter_pkt2(double* tstart, int* nsamp, double* dt, float** data, int* size, const char* filter,
                  Hook** hookptr)
{
    if (!tstart || !nsamp || !dt || !data || *nsamp < 0 || (*nsamp > 0 && !*data) ||
        (size && *size < *nsamp)) {
        hl_register_error(0, "wffilter_pkt2: Bad arguments.\n");
        return -1;
    }
    if (!(*dt > 0.0) || !std::isfinite(*dt)) {
        hl_register_error(0, "wffilter_pkt2: Bad sample interval %g s.\n", *dt);
        return -1;
    }
    const char* text = filter ? filter : "";
    const double dt_s = *dt;
    Hook* h = hookptr ? *hookptr : nullptr;
    std::unique_ptr<Hook> made;
    if (!h || h->filter != text || std::fabs(h->dt_s - dt_s) > 1e-9 * dt_s) {
        made = std::make_unique<Hook>();
        made->filter = text;
        if (parse_chain(text, &made->stages) < 0) {
            hl_register_error(0, "wffilter_pkt2: Unable to parse filter '%.200s'.\n", text);
            return -1;
        }
        if (!design(made.get(), dt_s))
            return -1;
        h = made.get();
    }
    if (hookptr && made) {
        release_hook(hookptr);
        *hookptr = made.release();
    }
    const bool stream = hookptr != nullptr;
    if (stream && h->have_next && std::fabs(*tstart - h->next_time) > 0.5 * dt_s)
        restart(h);
    if (!stream)
        restart(h);

    float* x = *data;
    const long n = *nsamp;
    long i = 0;
    while (i < n) {
        if (is_gap(x[i])) {
            restart(h);
            i++;
            continue;
        }
        i += run_stages(h, x + i, n - i, stream);
    }
    h->next_time = *tstart + static_cast<double>(n) * dt_s;
    h->have_next = true;
    return 0;
}

void release_hook(Hook** hook)
{
    if (!hook || !*hook)
        return;
    delete *hook;
    *hook = nullptr;
}
