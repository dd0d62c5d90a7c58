// Parameter documents kept as written, for browsing and editing by hand.
//
// An HLKv holds a parameter text line by line: every entry keeps its key,
// value, comment, the constraints written beside it, where it came from and
// its nesting level, and the lines between entries (blank lines, comment
// lines, closing braces) are kept as they are.  write() and getKvString()
// give the text back byte for byte when nothing was edited; an edit
// rewrites only the value (or comment) bytes of its own line.  Syntax is
// checked by the same scanner as kvcompile(), so a text that compiles loads
// and one that does not is refused with the line named.
//
// Constraints are written in the document itself, in an entry's comment
// starting "#@", up to an optional second "#" that starts the plain comment
// (docs/parameter-text.md gives the whole syntax):
//
//     line_width   2              #@ int[0,10]      # pixels
//     position     12.5 -33.2     #@ real[-180,180] real[-90,90]
//     scale        lin            #@ {lin|log|time}
//     foreground   red            #@ color
//
// The value is split on white space and field i is checked against
// constraint i; the last constraint takes whatever fields remain, joined
// by one blank.  Types: string, int, real (with an optional inclusive range
// "[min,max]", either bound may be left out), bool, color, font, regex and
// an enumeration "{a|b|c}".  Colours and fonts are only required to be
// present here: their syntax belongs to the display library, which checks
// them itself.  A constraint text that does not parse is "unsound": it is
// reported by getConstraints() and never applied.
//
// A document is used from one thread at a time.
#pragma once

#include "vxplot_export.h"

#include <string>
#include <unordered_map>
#include <vector>

struct Kv;

// Constraint types; 3 and 4 are checked by the display library.
enum {
    HLKV_STRING = 0,
    HLKV_INT = 1,
    HLKV_REAL = 2,
    HLKV_COLOR = 3,
    HLKV_FONT = 4,
    HLKV_BOOL = 5,
    HLKV_REGEX = 6,
    HLKV_ENUM = 7,
};

// One field's rule.
struct HLKv_Constraint
{
    int type = HLKV_STRING;
    std::vector<std::string> string_enum;  // the allowed words of an enumeration
    bool has_min = false;                  // int and real: inclusive bounds when set
    bool has_max = false;
    double min = 0.0;
    double max = 0.0;
};

// What a line of the document is.
enum {
    HLKV_ENTRY_VALUE = 0,    // "key value" in an &Arr or at the top
    HLKV_ENTRY_ROW = 1,      // a row of an &Tbl
    HLKV_ENTRY_ARR = 2,      // "key &Arr{" (or "&Arr{" as a row)
    HLKV_ENTRY_TBL = 3,      // "key &Tbl{" (or "&Tbl{" as a row)
    HLKV_ENTRY_LITERAL = 4,  // "key &Literal{" ... "}": the value is the lines between
    HLKV_ENTRY_LITERAL_LINE = 5,  // "@Literal key value" or "@Literal row"
    HLKV_ENTRY_COMMENT = 6,  // a line holding only a comment: not an entry
};

// A row of the document as shown: an entry, or a comment line (index -1).
struct HLKv_Entry
{
    int index = -1;          // entry number, -1 for a comment line
    int kind = HLKV_ENTRY_VALUE;
    int level = 0;           // 0 at the top, one more inside each block
    long line = 0;           // line in the text, from 0
    std::string key;         // as shown: "name", "name &Arr{", "@Literal name", "" for a row
    std::string name;        // the bare key, "" for rows and comments
    std::string value;       // unescaped, as kvcompile() gives it
    std::string comment;     // the plain comment, trimmed; "" for none
    std::string constraint_text;  // after "#@", trimmed; "" for none
    std::vector<HLKv_Constraint> constraints;
    bool sound = true;       // constraint_text parsed
    bool changed = false;    // edited since loading
    // byte spans in the original line: the value as written, the comment
    // text after its "#" (or "#@...#"), or -1 when absent
    long value_begin = -1, value_end = -1;
    long comment_begin = -1, comment_end = -1;
    long literal_end_line = -1;  // HLKV_ENTRY_LITERAL: the line of its "}"
};

// Checks a colour or font field (type HLKV_COLOR or HLKV_FONT) whose
// syntax the toolkit does not know; true when it is good.
typedef bool (*HLKv_FieldChecker)(int type, const std::string& field);

class VXPLOT_EXPORT HLKv
{
public:
    enum { HLKV_FROM_FILE = 0, HLKV_FROM_TEXT = 1 };

    HLKv();
    // Read the parameter file name (searched as kvread() does) or, with
    // flags HLKV_FROM_TEXT, take name as the text.  Throws "Exception"
    // after registering the reason.
    HLKv(const std::string& name, int flags);
    virtual ~HLKv();
    HLKv(const HLKv&) = delete;
    HLKv& operator=(const HLKv&) = delete;

    // Replace the document by the parameter file name, or by text (source
    // names it in messages and in getSource()).  0; negative with the
    // reason registered (the scanner's message names the line) and the
    // document unchanged.
    int read(const std::string& name);
    int compile(const std::string& text, const std::string& source = std::string());

    // Entries (comment lines not counted).
    int size() const { return static_cast<int>(entry_rows_.size()); }
    // Rows in document order, entries and comment lines: each row holds
    // key, value, comment, source, level and entry index as texts.
    std::vector<std::vector<std::string>> getList() const;
    // The row of an entry, or an empty row.
    std::vector<std::string> getEntry(int index) const;
    std::vector<std::string> getEntry(const std::string& key) const;
    // Every row with its parts; rowCount() of them.
    int rowCount() const { return static_cast<int>(rows_.size()); }
    const HLKv_Entry& row(int r) const { return rows_[static_cast<size_t>(r)]; }
    // The entry itself, or null outside 0 .. size()-1.
    const HLKv_Entry* entry(int index) const;

    std::string getKey(int index) const;
    std::string getSource(int index) const;  // "file:line" (line from 1)
    std::string getComment(int index) const;
    int getLevel(int index) const;           // -1 outside the range
    // The value; with ok, bad and message the result of checking it.
    std::string getValue(int index, bool* ok = nullptr, std::vector<int>* bad = nullptr,
                         std::string* message = nullptr) const;
    std::string getValue(const std::string& key, bool* ok = nullptr, std::vector<int>* bad = nullptr,
                         std::string* message = nullptr) const;
    // Check candidate against the entry's constraints.  True when it
    // passes (or there is nothing sound to check); otherwise message says
    // why and bad lists the failing fields (from 0).
    bool checkValue(int index, const std::string& candidate, std::string* message, std::vector<int>* bad) const;
    bool checkValue(const std::string& key, const std::string& candidate, std::string* message,
                    std::vector<int>* bad) const;
    // The constraint text written for the entry, and whether it parses.
    std::string getConstraints(int index, bool* sound = nullptr) const;

    // Give the entry a new value.  valueChangedCallback() is told of every
    // attempt with the check's message (empty when the value passes).  With
    // check non-zero a value that fails its constraints (or whose message
    // the callback filled) is refused.  0; negative, registered, document
    // unchanged, for a bad index, an entry without a value (a block or a
    // comment), a new line in a one-line value, a literal block value with
    // a line "}", or a refused value.
    int setValue(int index, const std::string& value, int check = 0);
    // Replace the plain comment of an entry (the constraints stay).  0;
    // negative, registered, unchanged, for a bad index, a literal entry
    // (which cannot hold a comment) or a new line in the comment.
    int setComment(int index, const std::string& comment);

    // The entry a key names: a path of names separated by "/", each an
    // &Arr key or the number of an &Tbl row from 0 ("layers/coasts/type",
    // "levels/2").  A name repeated in one block means its last writing,
    // as kvcompile() reads it.  -1 when nothing matches.
    int getEntryIndex(const std::string& key) const;

    // The text with the edits applied.
    std::string getKvString() const;
    // Compile it into a new document (kvfree() it).  0 or negative.
    int getKv(Kv** kv) const;
    // Write it to path.  0; negative with the reason registered, and
    // nothing lost (the document is unchanged and a file that exists is
    // replaced only after the new text is wholly written).
    int write(const std::string& path) const;

    // The bare key of a shown key ("name &Arr{" and "@Literal name" give
    // "name").
    static std::string key2Kvkey(const std::string& key);
    // A path "a/b/2" in Perl notation: "{a}{b}[2]".
    static std::string key2Perl(const std::string& path);
    // The names of a path.
    static std::vector<std::string> key2Table(const std::string& path);
    // A value as it must be written in a line ("#" as "\#"), and back.
    static std::string escapeValue(const std::string& value);
    static std::string unescapeValue(const std::string& text);
    // The fields of a value as the constraints see them: split on white
    // space, the n-th field taking the rest joined by one blank (n >= 1).
    static std::vector<std::string> splitFields(const std::string& value, size_t n);
    // Parse constraint text; false for unsound text.
    static bool parseConstraints(const std::string& text, std::vector<HLKv_Constraint>* out);

    // Told of every setValue(); message holds the check's answer and may be
    // filled to refuse the value when setValue() checks.
    virtual void valueChangedCallback(const std::string& key, int index, const std::string& value,
                                      std::string& message);

    // Set by a display library to check colours and fonts; without it any
    // non-empty text passes.
    HLKv_FieldChecker field_checker = nullptr;
    std::string kvfile;    // the file read, or the source name of a text
    std::string kvstring;  // the text as loaded

private:
    std::string lineText(long line) const;
    std::string editedLine(const HLKv_Entry& e) const;

    std::vector<HLKv_Entry> rows_;
    std::vector<int> entry_rows_;      // entry index to row
    std::vector<long> line_starts_;    // byte offset of each line in kvstring
    std::vector<int> line_rows_;       // line to the row starting on it, -1 for none
    mutable std::unordered_map<std::string, int> paths_;  // getEntryIndex() paths, made on first use
    std::string source_;               // name used in getSource()
};
