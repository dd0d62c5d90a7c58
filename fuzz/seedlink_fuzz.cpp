// libFuzzer target for the SeedLink wire format: the input is a byte stream
// as a server might send it, read in protocol versions 3 and 4.  Frames are taken off its front as the reader
// does, each data record decoded, INFO pieces gathered and their station
// list parsed, and the first line read as a greeting.  Nothing may read
// past the input.
#include "toolkit/base/errors.h"
#include "toolkit/seedlink/pktchan.h"
#include "toolkit/seedlink/slproto_p.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > (1 << 20))
        return 0;
    // a copy of exactly size bytes, so that any read past it is caught
    std::vector<char> bytes(data, data + size);
    const std::string_view all(bytes.data(), bytes.size());
    sl_greeting_version(all.substr(0, all.find('\n')));
    std::string info;
    size_t at = 0;
    while (at < bytes.size()) {
        SlFrame f;
        const int used = sl_next_frame(bytes.data() + at, bytes.size() - at, &f);
        if (used <= 0)
            break;
        if (f.type == SL_FRAME_DATA || f.type == SL_FRAME_INFO || f.type == SL_FRAME_INFO_LAST) {
            Packet* pkt = nullptr;
            if (pktDecode("fuzz", 0.0, f.record, kSlRecordBytes, &pkt) >= 0) {
                for (const PktChan& c : pkt->channels)
                    if (c.nsamp > 0)
                        info.push_back(static_cast<char>(c.data[c.nsamp - 1]));
                pktFree(&pkt);
            }
            info.append(f.record, 64);
        }
        at += static_cast<size_t>(used);
    }
    // the same bytes as a version 4 stream
    for (at = 0; at < bytes.size();) {
        SlFrame f;
        const int used = sl_next_frame4(bytes.data() + at, bytes.size() - at, &f);
        if (used <= 0)
            break;
        if (f.type == SL_FRAME_DATA) {
            Packet* pkt = nullptr;
            if (pktDecode("fuzz", 0.0, f.record, kSlRecordBytes, &pkt) >= 0)
                pktFree(&pkt);
        }
        if (!f.station.empty())
            info.append(f.station);
        at += static_cast<size_t>(used);
    }
    sl_greeting_offers_v4(all.substr(0, all.find('\n')));
    sl_info_stations(info, 1000);
    sl_info_stations(all, 1000);
    hl_clear_register(HL_CLEAR_QUIET);
    return 0;
}
