// Schemas of the record store: the installed schema file, the schema file
// reader and its errors, and field values as text.
#include "support/testsupport.h"

#include "toolkit/store/recordstore.h"
#include "toolkit/store/rsschema_p.h"
#include "toolkit/store/recordstore_fixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

using namespace rsfixture;

namespace {

const RsSchema* css()
{
    const RsSchema* s = rsschema_find("css3.0");
    EXPECT_NE(s, nullptr) << hl_errlog_string(0);
    return s;
}

// The definition of a table of css3.0 and of one of its fields; both must
// exist.
const RsTableDef& tableOf(const char* table)
{
    return css()->tables.at(static_cast<size_t>(css()->tableIndex(table)));
}
const RsFieldDef& fieldOf(const char* table, const char* field)
{
    const RsTableDef& t = tableOf(table);
    return t.fields.at(static_cast<size_t>(t.fieldIndex(field)));
}

TEST(SchemaInstalled, RecordWidthsOfCss30AndTheExtensionTables)
{
    const RsSchema* s = css();
    ASSERT_NE(s, nullptr);
    EXPECT_FALSE(s->memory);
    struct Case { const char* table; int width; size_t fields; } cases[] = {
        {"wfdisc", 283, 20},  {"arrival", 223, 26}, {"assoc", 152, 19},     {"origin", 237, 25},
        {"origerr", 257, 20}, {"event", 76, 6},     {"netmag", 110, 11},    {"stamag", 117, 12},
        {"site", 155, 12},    {"sitechan", 140, 11}, {"affiliation", 33, 3}, {"detection", 179, 20},
        {"lastid", 42, 3},    {"remark", 116, 4},   {"instrument", 239, 12}, {"sensor", 139, 12},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.table);
        ASSERT_GE(s->tableIndex(c.table), 0);
        EXPECT_EQ(tableOf(c.table).width, c.width);
        EXPECT_EQ(tableOf(c.table).fields.size(), c.fields);
    }
    // the event service keeps these records in buffers of fixed size
    struct Extension { const char* table; int buffer; const char* field; } extensions[] = {
        {"emodel", 96, "emodelt"}, {"wfmeas", 256, "val1"}, {"mt", 564, "tmpp"}, {"predarr", 104, "esaz"}};
    for (const Extension& c : extensions) {
        SCOPED_TRACE(c.table);
        ASSERT_GE(s->tableIndex(c.table), 0);
        EXPECT_LT(tableOf(c.table).width, c.buffer);
        EXPECT_GE(tableOf(c.table).fieldIndex(c.field), 0);
    }
}

TEST(SchemaInstalled, EveryNullValueReadsBack)
{
    const RsSchema* s = css();
    ASSERT_NE(s, nullptr);
    int checked = 0;
    for (const RsTableDef& t : s->tables) {
        for (const RsFieldDef& f : t.fields) {
            SCOPED_TRACE(t.name + "." + f.name);
            ASSERT_EQ(f.null_field.size(), static_cast<size_t>(f.width));
            EXPECT_TRUE(f.check(f.null_field));
            if (f.isInteger()) {
                long v = 0;
                ASSERT_EQ(f.parseLong(f.null_field, &v), 0);
                EXPECT_EQ(v, f.null_long);
            } else if (f.isNumeric()) {
                double v = 0;
                ASSERT_EQ(f.parseDouble(f.null_field, &v), 0);
                EXPECT_EQ(v, f.null_double);
            } else {
                EXPECT_EQ(rs_trim(f.null_field), f.null_text);
            }
            checked++;
        }
    }
    EXPECT_GT(checked, 270);
    // values the CSS 3.0 definition leaves to the writer
    EXPECT_EQ(fieldOf("assoc", "belief").null_field, "9.99");
    EXPECT_EQ(fieldOf("wfdisc", "endtime").null_field, " 9999999999.99900");
}

TEST(SchemaInstalled, TraceSchemasLiveInMemory)
{
    for (const char* name : {"Trace4.0", "Trace4.1"}) {
        SCOPED_TRACE(name);
        const RsSchema* s = rsschema_find(name);
        ASSERT_NE(s, nullptr);
        EXPECT_TRUE(s->memory);
        const int t = s->tableIndex("trace");
        ASSERT_GE(t, 0);
        const RsTableDef& trace = s->tables[static_cast<size_t>(t)];
        for (const char* f : {"sta", "chan", "time", "endtime", "nsamp", "samprate", "calib", "calper", "segtype"})
            EXPECT_GE(trace.fieldIndex(f), 0) << f;
        ASSERT_GE(trace.fieldIndex("data"), 0);
        EXPECT_EQ(trace.fields[static_cast<size_t>(trace.fieldIndex("data"))].type, RS_TYPE_FLOATS);
        EXPECT_EQ(trace.fields[static_cast<size_t>(trace.fieldIndex("bundle"))].type, RS_TYPE_BUNDLE);
        EXPECT_FALSE(trace.fields[static_cast<size_t>(trace.fieldIndex("data"))].inText());
    }
}

// ---- the reader

int parse(const std::string& text, std::vector<std::unique_ptr<RsSchema>>* out)
{
    return rsschema_parse(text, "test.schema", out);
}

TEST(SchemaFile, ReadsAMinimalSchema)
{
    std::vector<std::unique_ptr<RsSchema>> schemas;
    ASSERT_EQ(parse("# a comment\n"
                    "schema tiny1.0\n"
                    "table thing\n"
                    "key id\n"
                    "field id    integer 8 %8ld   -1   the id\n"
                    "\n"
                    "  field name  string  5 %-5s   -    a name with  blanks\n"
                    "field when  time   17 %17.5f -9999999999.999\n",
                    &schemas),
              1) << hl_errlog_string(0);
    const RsSchema& s = *schemas[0];
    EXPECT_EQ(s.name, "tiny1.0");
    ASSERT_EQ(s.tables.size(), 1u);
    const RsTableDef& t = s.tables[0];
    EXPECT_EQ(t.width, 8 + 1 + 5 + 1 + 17);
    EXPECT_EQ(t.fields[1].offset, 9);
    EXPECT_EQ(t.fields[1].description, "a name with  blanks");
    EXPECT_EQ(t.fields[2].description, "");
    ASSERT_EQ(t.key.size(), 1u);
    EXPECT_EQ(t.key[0], 0);
    EXPECT_EQ(t.nullRecord(), "      -1 -     -9999999999.99900");
}

TEST(SchemaFile, ErrorsNameTheLine)
{
    // t: the head of a table; x: a good field of it
    const std::string t = "schema a\ntable t\n", x = "field x integer 8 %8ld -1\n";
    struct Case { const char* name; std::string text; const char* message; } cases[] = {
        {"unknown statement", t + x + "column y\n", "test.schema line 4: unknown statement 'column'"},
        {"table before schema", "table t\n", "line 1: 'table' before any 'schema'"},
        {"field outside a table", "schema a\n" + x, "line 2: 'field' outside a table"},
        {"unknown type", t + "field x float 8 %8.2f -1\n", "line 3: unknown type 'float'"},
        {"too few words", t + "field x integer 8 %8ld\n", "line 3: a field needs"},
        {"bad width", t + "field x integer eight %8ld -1\n", "line 3: bad width 'eight'"},
        {"format of another width", t + "field x integer 8 %7ld -1\n", "line 3: format '%7ld' is not of width 8"},
        {"format of another type", t + "field x integer 8 %8.2f -1\n",
         "line 3: format '%8.2f' does not suit type 'integer'"},
        {"string right-justified", t + "field x string 8 %8s -\n", "does not suit type 'string'"},
        {"null too wide", t + "field x real 4 %4.2f -1.0\n", "line 3: null value '-1.0' does not fit format '%4.2f'"},
        {"null not a number", t + "field x integer 8 %8ld none\n", "line 3: null value 'none' is not an integer"},
        {"field twice", t + x + x, "line 4: field 'x' given twice"},
        {"table twice", t + x + "table t\n", "line 4: table 't' given twice"},
        {"unknown key", t + "key y\n" + x, "line 3: key field 'y' is not a field of table 't'"},
        {"samples in a file schema", t + "field d floats 0 - -\n", "line 3: type 'floats' is only for memory schemas"},
        {"record too long", t + "field x string 1000 %-1000s -\nfield y string 100 %-100s -\n",
         "line 2: records of table 't' are 1101 characters long"},
        {"table without fields", t + "table u\n" + x, "line 2: table 't' has no fields"},
        {"schema without tables", "schema a\nschema b\n", "line 2: schema 'a' has no tables"},
        {"empty", "# nothing\n", "test.schema: no schema"},
        {"bad name", "schema a\ntable t-1\n", "line 2: expected 'table NAME'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::unique_ptr<RsSchema>> schemas;
        EXPECT_LT(parse(c.text, &schemas), 0);
        EXPECT_TRUE(schemas.empty());
        expectLogged(c.message);
    }
}

TEST(SchemaFile, FoundThroughTheSearchPath)
{
    Folder dir;
    dir.write(dir.path() + "/mine.schema", "schema mine9.9\ntable t\nfield x integer 8 %8ld -1\n");
    dir.write(dir.path() + "/broken.schema", "schema broken1\ntable\n");
    const char* old = getenv("VXPLOT_SCHEMA_PATH");
    std::string saved = old ? old : "";
    setenv("VXPLOT_SCHEMA_PATH", ("/no/such/folder:" + dir.path()).c_str(), 1);
    const RsSchema* s = rsschema_find("mine9.9");
    ASSERT_NE(s, nullptr) << hl_errlog_string(0);
    EXPECT_EQ(s->file, dir.path() + "/mine.schema");
    EXPECT_NE(rsschema_find("css3.0"), nullptr);  // still found in the data folders
    EXPECT_EQ(rsschema_find("broken1"), nullptr);
    expectLogged("broken.schema line 2: expected 'table NAME'");
    if (old)
        setenv("VXPLOT_SCHEMA_PATH", saved.c_str(), 1);
    else
        unsetenv("VXPLOT_SCHEMA_PATH");
    // a schema file given by its path
    dir.write(dir.path() + "/other.file", "schema byfile1\ntable t\nfield x integer 8 %8ld -1\n");
    const RsSchema* byfile = rsschema_find((dir.path() + "/other.file").c_str());
    ASSERT_NE(byfile, nullptr);
    EXPECT_EQ(byfile->name, "byfile1");
}

// ---- values as text

TEST(SchemaValues, NumbersOfFixedWidthFields)
{
    struct Case { const char* text; bool is_long; long l; bool is_double; double d; } cases[] = {
        {"      -1", true, -1, true, -1.0}, {"1296474900.0     ", false, 0, true, 1296474900.0},
        {"  +12  ", true, 12, true, 12.0}, {" 1.5e3", false, 0, true, 1500.0}, {"2.5D-1", false, 0, true, 0.25},
        {"  NaN", false, 0, true, NAN}, {"-inf", false, 0, true, -INFINITY}, {".5", false, 0, true, 0.5},
        {"5.", false, 0, true, 5.0}, {"9223372036854775807", true, 9223372036854775807L, true, 9223372036854775807.0},
        {"9223372036854775808", false, 0, true, 9223372036854775808.0},
        {"0.1234567890123456789", false, 0, true, 0.1234567890123456789}, {"", false, 0, false, 0},
        {"   ", false, 0, false, 0}, {"-", false, 0, false, 0}, {".", false, 0, false, 0}, {"1 2", false, 0, false, 0},
        {"12x", false, 0, false, 0}, {"1e", false, 0, false, 0}, {"0x10", false, 0, false, 0},
        {"nana", false, 0, false, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string("'") + c.text + "'");
        long l = 0;
        double d = 0;
        EXPECT_EQ(rs_parse_long(c.text, &l) == 0, c.is_long);
        EXPECT_EQ(c.is_long ? l : 0L, c.l);
        EXPECT_EQ(rs_parse_double(c.text, &d) == 0, c.is_double);
        EXPECT_TRUE(!c.is_double || (std::isnan(c.d) ? std::isnan(d) : d == c.d)) << d;
    }
}

TEST(SchemaValues, DecimalsMatchTheLibraryParser)
{
    // the quick path for plain decimals must agree with strtod to the bit
    const char* texts[] = {"1296474900.12345", "0.1", "-33.4500", "47.7372", "999999999999999",
                           "0.000000000000001", "123456.7890123", "-0.0", "80.0000000"};
    for (const char* t : texts) {
        SCOPED_TRACE(t);
        double d = 0;
        ASSERT_EQ(rs_parse_double(t, &d), 0);
        EXPECT_EQ(d, strtod(t, nullptr));
    }
}

TEST(SchemaValues, FormatsAtTheFieldWidth)
{
    ASSERT_NE(css(), nullptr);
    const RsFieldDef &lat = fieldOf("origin", "lat"), &nass = fieldOf("origin", "nass"),
                     &etype = fieldOf("origin", "etype");
    char out[64] = {0};
    // what a format call wrote at the field's width, or that it refused
    auto text = [&out](int rc, const RsFieldDef& f) { return rc < 0 ? "(refused)" : std::string(out, f.width); };
    EXPECT_EQ(text(lat.formatDouble(-33.45, out), lat), " -33.4500");
    // too many digits: fewer decimals, still the width
    EXPECT_EQ(text(lat.formatDouble(123456.789, out), lat), "123456.79");
    EXPECT_LT(lat.formatDouble(1e12, out), 0);
    EXPECT_EQ(text(nass.formatLong(9999, out), nass), "9999");
    EXPECT_LT(nass.formatLong(10000, out), 0);
    EXPECT_LT(nass.formatDouble(2.5, out), 0);  // not an integer
    EXPECT_EQ(text(etype.formatString("qb", out), etype), "qb     ");
    EXPECT_EQ(text(etype.formatString("", out), etype), "-      ");
    EXPECT_LT(etype.formatString("toolong8", out), 0);
    EXPECT_LT(etype.formatString("a\nb", out), 0);
}

}  // namespace
