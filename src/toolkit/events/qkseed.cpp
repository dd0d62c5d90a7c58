// QKClient: CSS station and channel names to SEED names and back.
//
// The snetsta table ("snet fsta sta lddate") maps a SEED network and station
// to a CSS station, the schanloc table ("sta fchan loc chan lddate") a SEED
// channel and location of a CSS station to a CSS channel.  Their files are
// read as blank-separated words, so that any column widths do.  Without a
// row for the name, the rule of docs/events.md applies.
#include "toolkit/events/qkclient.h"

#include "toolkit/base/errors.h"
#include "toolkit/events/qkseed_p.h"
#include "toolkit/events/qkserver.h"

#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace {

constexpr off_t kMappingFileMax = 16 << 20;  // larger snetsta or schanloc files are not read

// The rows of a mapping file, each a list of words; empty without a file.
std::vector<std::vector<std::string>> readWords(const std::string& path)
{
    std::vector<std::vector<std::string>> rows;
    struct stat st;
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return rows;
    if (st.st_size > kMappingFileMax) {
        hl_register_error(0, "QKClient: %s is too large to read (%ld bytes).\n", path.c_str(),
                          static_cast<long>(st.st_size));
        return rows;
    }
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> words;
        if (qk_split_words(line, &words, 8) >= 3)
            rows.push_back(std::move(words));
    }
    return rows;
}

bool nullLoc(const std::string& loc)
{
    return loc.empty() || loc == "-" || loc == "--";
}

}  // namespace

int qk_split_words(std::string_view line, std::vector<std::string>* words, int max)
{
    words->clear();
    size_t at = 0;
    while (at < line.size() && static_cast<int>(words->size()) < max) {
        while (at < line.size() && (line[at] == ' ' || line[at] == '\t' || line[at] == '\r'))
            at++;
        const size_t start = at;
        while (at < line.size() && line[at] != ' ' && line[at] != '\t' && line[at] != '\r')
            at++;
        if (at > start)
            words->emplace_back(line.substr(start, at - start));
    }
    return static_cast<int>(words->size());
}

int QKClient::rscss2seed(const std::string& sta, const std::string& chan, std::string* net, std::string* seed_sta,
                         std::string* seed_chan, std::string* loc)
{
    if (!ev || !net || !seed_sta || !seed_chan || !loc || sta.empty()) {
        hl_register_error(0, "QKClient::rscss2seed: No server, station or result.\n");
        return -1;
    }
    const std::string base = ev->getDbname();
    *net = "";
    *seed_sta = sta;
    bool found = false;
    for (const auto& w : readWords(base + ".snetsta")) {
        if (w[2] == sta) {
            *net = w[0];
            *seed_sta = w[1];
            found = true;
            break;
        }
    }
    if (!found) {
        const size_t u = sta.find('_');
        if (u != std::string::npos && u > 0 && u + 1 < sta.size()) {
            *net = sta.substr(0, u);
            *seed_sta = sta.substr(u + 1);
        } else {
            for (const auto& w : readWords(base + ".affiliation")) {
                if (w.size() >= 2 && w[1] == sta) {
                    *net = w[0];
                    break;
                }
            }
        }
    }
    *seed_chan = chan;
    *loc = "";
    for (const auto& w : readWords(base + ".schanloc")) {
        if (w.size() >= 4 && w[0] == sta && w[3] == chan) {
            *seed_chan = w[1];
            *loc = nullLoc(w[2]) ? "" : w[2];
            return 0;
        }
    }
    const size_t u = chan.rfind('_');
    if (u != std::string::npos && u > 0 && u + 1 < chan.size()) {
        *seed_chan = chan.substr(0, u);
        *loc = chan.substr(u + 1);
    }
    return 0;
}

int QKClient::rsseed2css(const std::string& net, const std::string& seed_sta, const std::string& seed_chan,
                         const std::string& loc, std::string* sta, std::string* chan)
{
    if (!ev || !sta || !chan || seed_sta.empty() || seed_chan.empty()) {
        hl_register_error(0, "QKClient::rsseed2css: No server, station, channel or result.\n");
        return -1;
    }
    const std::string base = ev->getDbname();
    bool found = false;
    for (const auto& w : readWords(base + ".snetsta")) {
        if (w[0] == net && w[1] == seed_sta) {
            *sta = w[2];
            found = true;
            break;
        }
    }
    if (!found) {
        // a station the database knows keeps its name
        bool known = false;
        for (const auto& w : readWords(base + ".affiliation"))
            known = known || (w.size() >= 2 && w[1] == seed_sta && (net.empty() || w[0] == net));
        for (const auto& w : readWords(base + ".site"))
            known = known || w[0] == seed_sta;
        *sta = known || net.empty() ? seed_sta : net + "_" + seed_sta;
    }
    for (const auto& w : readWords(base + ".schanloc")) {
        if (w.size() >= 4 && w[0] == *sta && w[1] == seed_chan && (w[2] == loc || (nullLoc(w[2]) && nullLoc(loc)))) {
            *chan = w[3];
            return 0;
        }
    }
    *chan = nullLoc(loc) ? seed_chan : seed_chan + "_" + loc;
    return 0;
}
