// What the event server knows of its database between two checks: the
// record store handle it reads through, the state of every table file it
// watches, and indexes from ids to rows from which event, origin and
// detection records are built.
//
// The model belongs to one server and is used under the server's database
// mutex.  take() brings it up to the files: a table that only grew is read
// from its old end and only the new rows are indexed; a table rewritten or
// replaced is indexed again from the start.
#pragma once

#include "toolkit/events/qkidmap_p.h"
#include "toolkit/events/qkrecords.h"
#include "toolkit/store/recordstore.h"

#include <sys/types.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct RsDatabase;
struct RsTableDef;

// Tables the server watches, in the order they are taken in.
enum QKTableId {
    QK_EVENT,
    QK_ORIGIN,
    QK_ORIGERR,
    QK_EMODEL,
    QK_NETMAG,
    QK_STAMAG,
    QK_WFMEAS,
    QK_MT,
    QK_ASSOC,
    QK_ARRIVAL,
    QK_PREDARR,
    QK_SITE,
    QK_DETECTION,
    QK_WFDISC,
    QK_NTABLES
};

// Name of a watched table.
const char* qk_table_name(int table);

// The load date "2024-01-31T120000" as epoch seconds; -1.0 for anything
// else (the null "-" included).
double qk_parse_lddate(std::string_view text);

// What one take() found.
struct QKChanges
{
    bool changed[QK_NTABLES] = {};  // the table's rows changed
    bool rebuilt[QK_NTABLES] = {};  // ... and were indexed again from the start
    std::set<long> dirty_evids;      // events whose list entry must be built again
    bool all_events = false;         // every event must be built again
    bool any() const;
};

class QKModel
{
public:
    QKModel() = default;
    ~QKModel();
    QKModel(const QKModel&) = delete;
    QKModel& operator=(const QKModel&) = delete;

    // Open the database (read only) if not yet open.  0, or negative when
    // its folder or schema is missing.
    int open(const std::string& dbname);
    void close();
    bool isOpen() const { return !rsisinvalid(db_); }

    // Whether a table file looks changed since the last take(): its size,
    // modification time or identity differ.  Cheap: one stat per table.
    bool looksChanged() const;

    // Bring the model up to the table files; what changed goes to *changes.
    // Bad rows, duplicate ids and dangling references register messages and
    // are passed over.  0, or negative when a table could not be read (what
    // was read before stays).
    int take(QKChanges* changes);

    // What places an event in the list, and the rows its entry is made of.
    struct ListKey
    {
        double time;       // of the preferred origin
        long evid;
        long event_recno;
        long origin_recno;  // of the preferred origin; -1 when it has none
        long origerr_recno;  // of its origerr row; -1 when it has none
        long prefor;
        long* place;        // where the event's place is noted (valid while no event is added)
        double lddate_view;  // the latest load date of the rows, as the entry's lddate_view
        // the rows (valid while the tables stay, or while held: holdRows())
        std::string_view event_text, origin_text, origerr_text;
        bool operator<(const ListKey& o) const { return time != o.time ? time < o.time : evid < o.evid; }
    };
    // Every event with an event row, in the order of the list: by the time
    // of the preferred origin, then by evid.  What is read of the rows is
    // read before sorting, in the order of the rows rather than the list's.
    std::vector<ListKey> listKeys();
    // What the entries of keys are made from besides their rows: the
    // tables' layouts (which live as long as the process).
    struct EntryFields
    {
        const RsTableDef* event = nullptr;
        const RsTableDef* origin = nullptr;
        const RsTableDef* origerr = nullptr;
        int event_lddate = -1;
        int origin_orid = -1, origin_time = -1, origin_lddate = -1, origin_ml = -1, origin_mb = -1, origin_ms = -1;
        int origerr_lddate = -1;
    };
    EntryFields entryFields() const;
    // Keeps the rows that the keys of listKeys() name valid and unchanged
    // for the holder, however the model changes later; null when the store
    // cannot.
    std::shared_ptr<const void> holdRows() const;
    // The list entry of a key of listKeys(), from the key alone (any
    // thread, while its rows are valid), but for its origins: its preferred
    // origin goes to *origin, and true tells that it has one.
    static bool buildEntry(const EntryFields& f, const ListKey& key, QKEvent* event, QKOrigin* origin);
    // Start reading the rows of a key of listKeys() that buildEntry() will
    // read, a few keys ahead: the rows lie in the list's order, not the
    // files'.
    static void prefetch(const ListKey& key);
    // The place in the published list that the server gave evid; -1 for
    // none or an unknown evid.  An event table read again forgets them all.
    long placeOf(long evid) const;
    void setPlace(long evid, long place);
    void setPlace(const ListKey& key, long place) { *key.place = place; }
    // The list entry of evid (its preferred origin only) or, with expand,
    // the whole tree.  0 when there is no such event, 1 when filled.
    int buildEvent(long evid, bool expand, QKEvent* event) const;
    // The detection list, with residuals against origin (may be null).
    void buildDetections(const QKOrigin* origin, Table<QKDetection>* out) const;
    // The evid of the event of an orid, or -1.
    long evidOfOrid(long orid) const;

    // Rows of a table, and the record text of row r.
    long count(int table) const;
    std::string_view record(int table, long r) const;
    const RsTableDef* def(int table) const { return defs_[table]; }

private:
    struct FileState
    {
        bool present = false;
        dev_t dev = 0;
        ino_t ino = 0;
        off_t size = 0;
        long mtime_ns = 0;
    };
    struct EventRow
    {
        long recno = -1;
        long prefor = -1;
        long place = -1;  // in the server's list
        double lddate = -1.0;  // of the row
    };
    struct OriginRow
    {
        long recno = -1;
        long evid = -1;
        double time = -9999999999.999;
        double lddate = -1.0;  // of the row
    };

    FileState stat(int table) const;
    void indexRows(int table, long first, long last, QKChanges* changes);
    // Whether the indexes of table still hold after rows were rewritten in
    // place (their texts may have changed): false when the table must be
    // indexed again.
    bool indexRewritten(int table, const std::vector<long>& rows);
    void clearIndex(int table);
    static void fillEvent(const EntryFields& f, long evid, const EventRow& row, QKEvent* event,
                          std::string_view rec);
    void fillEvent(long evid, const EventRow& row, QKEvent* event) const;
    // The origin row's own fields, and those of its origerr row (recno -1:
    // none).
    static void fillOriginRow(const EntryFields& f, long recno, QKOrigin* origin, std::string_view rec,
                              long origerr_recno, std::string_view origerr);
    void fillOrigin(long recno, bool expand, QKOrigin* origin) const;
    // Note in event what its origin about to be added at the end tells.
    static void noteOrigin(QKEvent* event, const QKOrigin& origin);
    void fillAssociation(long assoc_recno, QKAssociation* a) const;
    long siteRow(std::string_view sta, double time) const;
    // The orids of evid in row order, or null.
    const QKRowList* originsOf(long evid) const;

    // field indices of the rows read for every list entry
    EntryFields f_;

    Rsptr db_ = {RS_INVALID, RS_INVALID, RS_INVALID, RS_INVALID};
    std::shared_ptr<RsDatabase> database_;  // of db_, held while it is open
    std::string dbname_;
    long tables_[QK_NTABLES] = {};  // table indices of the store
    const RsTableDef* defs_[QK_NTABLES] = {};
    FileState files_[QK_NTABLES];
    long counts_[QK_NTABLES] = {};

    QKIdMap<EventRow> events_;            // evid
    QKIdMap<OriginRow> origins_;          // orid
    // evid -> orids, in row order: made when first wanted (the list needs
    // only the preferred origins), then kept up to date
    mutable QKIdMap<QKRowList> evid_origins_;
    mutable bool evid_origins_made_ = false;
    // child rows by the id they hang on: row numbers, in row order
    QKIdMap<long> origerr_;               // orid
    QKIdMap<long> emodel_;                // orid
    QKIdMap<QKRowList> netmag_;           // orid
    QKIdMap<QKRowList> stamag_;           // magid
    QKIdMap<QKRowList> wfmeas_;           // arid
    QKIdMap<QKRowList> mt_;               // orid
    QKIdMap<QKRowList> assoc_;            // orid
    QKIdMap<long> arrival_;               // arid
    std::map<std::pair<long, long>, long> predarr_;          // (orid, arid)
    std::unordered_map<std::string, std::vector<long>> site_;  // sta
};
