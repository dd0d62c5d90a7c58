// Back ends of the record store, and the store's state shared between its
// modules.
//
// The front end (recordstore.h) handles addresses, scratch rows, views,
// values and expressions; a back end keeps the records of the tables.
// Every record passes between them as its text: the fields at their schema
// widths with one blank between them, no new line.  The flat-file back end
// keeps that text in the table files; the memory back end keeps it in
// memory together with sample arrays and bundles; a database server back
// end would print its rows into the same text.
#pragma once

#include "toolkit/store/recordstore.h"
#include "toolkit/store/rsschema_p.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Records of one table as text: a buffer of lines, each ended by a new line,
// and the offset of every good record in it.  For a flat file the buffer is
// a copy of the file, bad lines included, so that an offset is also the
// record's place in the file.
//
// share() lends the buffer out: the bytes of the records taken in so far
// then stay as they are for the borrower, however the rows change.  New
// bytes go past them (or into a new buffer), patch() copies the buffer
// before changing one of them, and clear() leaves a lent buffer to its
// borrowers.
class RsRows
{
public:
    RsRows() = default;
    // one owner writes the buffer: copies would write into each other's
    RsRows(const RsRows&) = delete;
    RsRows& operator=(const RsRows&) = delete;
    RsRows(RsRows&&) = default;
    RsRows& operator=(RsRows&&) = default;

    long count() const { return static_cast<long>(offsets_.size()); }
    size_t offset(long r) const { return offsets_[static_cast<size_t>(r)]; }
    const char* at(size_t offset) const { return buf_.get() + offset; }
    // Bytes at offset and after, to fill past the records taken in (a read
    // after resize()); patch() changes those before.
    char* at(size_t offset) { return buf_.get() + offset; }
    // Bytes at offset to change in place, the buffer copied first when it
    // is lent; null without memory for the copy.
    char* patch(size_t offset);
    size_t size() const { return size_; }
    // The buffer, kept alive and unchanged for the holder (see above).
    std::shared_ptr<const char> share() const { return buf_; }

    // Append bytes to the buffer.  0, or -1 when memory runs out.
    int append(const char* p, size_t n);
    // Make the buffer n bytes long for a read into it; -1 without memory.
    int resize(size_t n);
    // Note a record that begins at offset.
    void addRecord(size_t offset) { offsets_.push_back(offset); }
    // Make room for n records; false without memory.
    bool reserveRecords(size_t n);
    void clear();

private:
    std::shared_ptr<char> buf_;  // an array of capacity_ characters
    size_t size_ = 0;
    size_t capacity_ = 0;
    std::vector<size_t> offsets_;
};

// Keeps the records of the tables of one database.  Table indices are those
// of the schema.  Failing functions register a line and return negative.
class RsBackend
{
public:
    explicit RsBackend(const RsSchema* schema) : schema_(schema) {}
    virtual ~RsBackend();
    RsBackend(const RsBackend&) = delete;
    RsBackend& operator=(const RsBackend&) = delete;

    const RsSchema* schema() const { return schema_; }
    const RsTableDef& def(int table) const { return schema_->tables[static_cast<size_t>(table)]; }
    virtual bool writable() const = 0;

    // Read the table if not yet done.  0, or negative when it can't be read.
    virtual int load(int table) = 0;
    // Whether the table has been read.
    virtual bool loaded(int table) const;
    // Records of a loaded table.
    virtual long count(int table) const = 0;
    // Keeps the texts that record() gives now for the holder, unchanged
    // and valid however the table changes later; null when the back end
    // cannot (the texts are then only valid until the table changes).
    virtual std::shared_ptr<const void> holdRecords(int table) const;
    // Record r (0 <= r < count) of a loaded table.  The view stays valid
    // until the table changes.
    virtual std::string_view record(int table, long r) const = 0;
    // Lines skipped when the table was read.
    virtual long badRows(int table) const;
    // The table's file; empty when it has none.
    virtual std::string path(int table) const;

    // Append a record; text is a record of the table.  Its record number.
    virtual long append(int table, std::string_view text) = 0;
    // Rewrite the fields listed of record r from text, a whole record.
    // Fields not listed keep what the storage holds, which another process
    // may have changed since the record was read.
    virtual int update(int table, long r, std::string_view text, const std::vector<int>& fields) = 0;
    // Rewrite the record whose key fields equal those of text, or append
    // text when there is none.  The record number.
    virtual long put(int table, std::string_view text) = 0;
    // The next value of a counter of the lastid table (rsnextid()).
    virtual long nextId(const char* name) = 0;
    // Take in what other processes changed: 1 when the table changed, 0
    // when not, negative on failure.
    virtual int refresh(int table) = 0;
    // The records that the last refresh() of the table took in again because
    // they were rewritten in place, in record order, when that is all that
    // changed (no record added, removed or moved).  False when the last
    // refresh did anything else or the back end does not tell.
    virtual bool rewrittenRecords(int table, std::vector<long>* records) const;
    // Whether the last refresh() of the table only added records after
    // those it held, which kept their numbers and text.  False when it did
    // anything else or the back end does not tell.
    virtual bool onlyGrew(int table) const;

    // Samples and bundles, held by memory tables only.  A record without
    // samples gives a null pointer and 0; without a bundle, itself alone.
    virtual int getFloats(int table, long r, int field, const float** data, long* n) const;
    virtual int putFloats(int table, long r, int field, const float* data, long n);
    virtual int getBundle(int table, long r, int field, long* first, long* last) const;
    virtual int putBundle(int table, long r, int field, long first, long last);

    // The record of table whose key fields equal those of text, or -1.
    long findKey(int table, std::string_view text) const;
    // Whether a table is keyed by field name alone (arrival for "arid"),
    // so that largestKey() can find the ids already given out.
    bool hasKeyTable(const char* name) const;
    // The largest value of field name in the tables keyed by that field
    // alone (arrival for "arid"), refreshed first; 0 when there is none.
    // Only records added since the last call are read, while the table's
    // rows keep their generation.
    long largestKey(const char* name);
    // A number that changes whenever records of the table already read may
    // have changed their key (the table read again, replaced, or a key
    // rewritten in place); appending leaves it alone.  -1: not kept, every
    // largestKey() reads the whole table.
    virtual long rowsGeneration(int table) const;

protected:
    const RsSchema* schema_;

private:
    // What largestKey() read of a table.
    struct KeyScan
    {
        long generation = -1;
        long scanned = 0;   // records read
        long largest = 0;   // the largest key among them
    };
    std::vector<KeyScan> key_scans_;  // per table, made on first use
};

// Whether the key fields of two records of the table hold equal values.
bool rs_same_key(const RsTableDef& def, std::string_view a, std::string_view b);

// The present time as a load date, "2024-01-31T120000".
std::string rs_lddate_now();

// The lastid record that hands out the next value of counter name: *row is
// the record of table (lastid) to rewrite, or -1 to append, and *text the
// new record.  The value, or negative.  The caller holds the table's lock.
long rs_lastid_record(RsBackend* backend, int table, const char* name, long* row, std::string* text);

// The flat-file back end of a database whose table files are
// "<path_base>.<table>"; mode as for rsopen().
std::unique_ptr<RsBackend> rs_css_backend(const RsSchema* schema, const std::string& path_base,
                                                         int mode);

// The memory back end.
std::unique_ptr<RsBackend> rs_memory_backend(const RsSchema* schema);

// --- State of the front end, for the store's own modules (sorting,
// expressions).

// A list of records of one table, made by rssort().
struct RsView
{
    std::string name;
    int table = -1;             // the schema table it lists records of
    std::vector<long> records;  // record numbers in that table
};

// The scratch row of a table.
struct RsScratch
{
    std::string text;
    std::vector<std::vector<float>> floats;       // per field; empty for other fields
    std::vector<std::pair<long, long>> bundles;  // per field; (-1, -1) when not set
};

// An open database.
struct RsDatabase
{
    long id = -1;
    std::string name;
    const RsSchema* schema = nullptr;
    int mode = 0;
    std::unique_ptr<RsBackend> backend;
    std::vector<RsScratch> scratch;     // per table
    std::vector<std::string> null_rows;  // per table
    std::vector<std::string> table_files;  // per table; empty in memory
    std::vector<std::unique_ptr<RsView>> views;  // table index = tables + slot; null once freed
};

// The table or view an Rsptr addresses, resolved for reading its records.
struct RsTableRef
{
    std::shared_ptr<RsDatabase> db;
    int table = -1;                 // schema table
    const RsTableDef* def = nullptr;
    const RsView* view = nullptr;  // null for a table

    // Records of the table or view.
    long count() const;
    // The table's record number of record i of the table or view; -1 when
    // out of range.  RS_NULL and RS_SCRATCH pass through.
    long tableRecord(long i) const;
    // The text of a record of the table (not of the view), RS_NULL or
    // RS_SCRATCH included; empty when out of range.
    std::string_view text(long table_record) const;
};

// The open database of p, or null with a line naming caller registered.
std::shared_ptr<RsDatabase> rs_database(Rsptr p, const char* caller);

// Resolve p's database and table (loading the table).  0, or negative with a
// line naming caller registered.
int rs_table_ref(Rsptr p, RsTableRef* ref, const char* caller);

// Add a view of ref's table to its database.  The view's Rsptr.
Rsptr rs_add_view(const RsTableRef& ref, const char* name, std::vector<long> records);
