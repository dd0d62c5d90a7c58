// libFuzzer target for the flat-file row reader.  The first byte chooses a
// table; the rest is the content of its file, read through rsopen().  Every
// record read must be a good record of the table, every field must read as
// text, and every line must go back in as a whole record or be refused.
#include <VX.h>

#include "toolkit/store/recordstore.h"
#include "toolkit/store/rsschema_p.h"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

constexpr size_t kInputMax = 1 << 16;
const char* const kTables[] = {"origin", "wfdisc", "arrival", "site", "mt", "lastid", "assoc", "remark"};

// A folder of this process for the table files, removed at exit.
struct Folder
{
    std::string path;
    Folder()
    {
        char templ[] = "/tmp/vxplot_rsrow_fuzz_XXXXXX";
        const char* made = mkdtemp(templ);
        path = made ? made : "";
    }
    ~Folder()
    {
        if (!path.empty())
            std::filesystem::remove_all(path);
    }
};

const std::string& folder()
{
    static Folder f;
    return f.path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    if (size > kInputMax)
        size = kInputMax;
    const char* table = kTables[data[0] % (sizeof kTables / sizeof kTables[0])];
    if (folder().empty())
        return 0;
    const std::string base = folder() + "/db";
    const std::string file = base + "." + table;
    FILE* out = fopen(file.c_str(), "wb");
    if (!out)
        return 0;
    fwrite(data + 1, 1, size - 1, out);
    fclose(out);

    const RsSchema* schema = rsschema_find("css3.0");
    if (!schema)
        abort();
    const RsTableDef& def = schema->tables[static_cast<size_t>(schema->tableIndex(table))];
    Rsptr db = rsopen(base.c_str(), "css3.0", RS_READ);
    Rsptr mem = rsopen("fuzz", "css3.0", RS_MEMORY);
    Rsptr t = rslookup(db, nullptr, table, nullptr, nullptr);
    Rsptr scratch = rslookup(mem, nullptr, table, nullptr, "rsSCRATCH");
    long n = 0;
    if (rsquery(t, RS_RECORD_COUNT, &n) < 0)
        abort();
    char text[RS_STRSZ];
    for (t.record = 0; t.record < n; t.record++) {
        t.field = RS_ALL;
        if (rsget(t, text) < 0 || !def.checkRecord(text, nullptr))
            abort();
        if (rsput(scratch, text) < 0)  // a record read goes back in
            abort();
        for (t.field = 0; t.field < static_cast<long>(def.fields.size()); t.field++)
            if (rsget(t, text) < 0)
                abort();
    }
    // every line given as a whole record: taken only when good
    const char* p = reinterpret_cast<const char*>(data + 1);
    const char* end = p + (size - 1);
    while (p < end) {
        const char* nl = static_cast<const char*>(memchr(p, '\n', static_cast<size_t>(end - p)));
        std::string line(p, nl ? nl : end);
        if (line.find('\0') == std::string::npos) {
            const bool good = def.checkRecord(line, nullptr);
            if ((rsput(scratch, line.c_str()) == 0) != good)
                abort();
        }
        p = nl ? nl + 1 : end;
    }
    rsclose(db);
    rsclose(mem);
    hl_clear_register(0);
    return 0;
}
