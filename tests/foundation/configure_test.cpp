// The configuration engine through a test object with a row of every type,
// a custom group in the manner of line width keys, and a second table of
// another class.
#include "support/configsupport.h"
#include "support/testsupport.h"

#include "foundation/configure.h"
#include "toolkit/params/hlconfigure.h"
#include "toolkit/params/kv.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>

namespace {

struct TestRec
{
    int visible = 0;
    int count = 0;
    int kept = 0;
    double scale = 0.0;
    char* label = nullptr;
    char* margin = nullptr;  // explicit only
    VX_Color color;
    VX_Font font;       // empty text unsets
    VX_Font font_kept;  // empty text keeps
    void* hook = nullptr;
    int lw_x = 0, lw_y = 0, lw_x_small = 0, lw_y_small = 0;
    char* layers = nullptr;  // text handed to a custom row
};

struct OtherRec { double scale = 0.0; int button_height = 0; };

int custom_calls = 0;

// The line width group: index 0 and 1 set both axes, the others one field.
int parseLinewidth(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset, void*)
{
    custom_calls++;
    if (!value || !*value)
        return 0;
    char* end = nullptr;
    long v = strtol(value, &end, 10);
    if (end == value || *end) {
        hl_register_error(0, "parseLinewidth: Cannot parse '%s'.\n", value);
        return -1;
    }
    TestRec* rec = reinterpret_cast<TestRec*>(paramRec);
    int* fields[6][2] = {{&rec->lw_x, &rec->lw_y}, {&rec->lw_x_small, &rec->lw_y_small}, {&rec->lw_x, nullptr},
                         {&rec->lw_x_small, nullptr}, {&rec->lw_y, nullptr},        {&rec->lw_y_small, nullptr}};
    if (offset < 0 || offset > 5)
        return -1;
    for (int* f : fields[offset])
        if (f && *f != v) {
            *f = static_cast<int>(v);
            spec->specFlags |= HL_SPEC_CHANGED;
        }
    return 0;
}

char* printLinewidth(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    TestRec* rec = reinterpret_cast<TestRec*>(paramRec);
    if (offset < 0 || offset > 2)
        return strdup("Illegal offset value");
    char buffer[64];
    const int pairs[2][2] = {{rec->lw_x, rec->lw_y}, {rec->lw_x_small, rec->lw_y_small}};
    if (offset == 2)
        snprintf(buffer, sizeof buffer, "%d", rec->lw_x);
    else
        snprintf(buffer, sizeof buffer, "%d %d", pairs[offset][0], pairs[offset][1]);
    return strdup(buffer);
}

// Keeps whatever text reaches it.
int parseLayers(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int, void*)
{
    custom_calls++;
    TestRec* rec = reinterpret_cast<TestRec*>(paramRec);
    free(rec->layers);
    rec->layers = value ? strdup(value) : nullptr;
    spec->specFlags |= HL_SPEC_CHANGED;
    return 0;
}

HL_CustomOption linewidth_option = {parseLinewidth, printLinewidth, nullptr};
HL_CustomOption layers_option = {parseLayers, nullptr, nullptr};

#define REC(f) static_cast<int>(offsetof(TestRec, f))

HL_ConfigureSpec test_specs[] = {
    {"boolean", "visible", "yes", REC(visible), 0, nullptr},
    {"int", "count", "5", REC(count), 0, nullptr},
    {"int", "kept", "3", REC(kept), HL_SPEC_KEEP, nullptr},
    {"double", "scale", "2.5", REC(scale), 0, nullptr},
    {"string", "label", "hello", REC(label), 0, nullptr},
    {"string", "margin", "10", REC(margin), HL_SPEC_EXPLICIT, nullptr},
    {"color", "color", "blue", REC(color), HL_SPEC_KEEP, nullptr},
    {"font", "font", "courier,14", REC(font), 0, nullptr},
    {"font", "font_kept", "helvetica,10", REC(font_kept), HL_SPEC_KEEP, nullptr},
    {"ptr", "hook", nullptr, REC(hook), 0, nullptr},
    {"custom", "linewidth_tics", "1", 0, HL_SPEC_KEEP, &linewidth_option},
    {"custom", "linewidth_tics_small", "0", 1, HL_SPEC_KEEP, &linewidth_option},
    {"custom", "linewidth_tics_x", "1", 2, HL_SPEC_KEEP, &linewidth_option},
    {"custom", "linewidth_tics_x_small", "0", 3, HL_SPEC_KEEP, &linewidth_option},
    {"custom", "linewidth_tics_y", "1", 4, HL_SPEC_KEEP, &linewidth_option},
    {"custom", "linewidth_tics_y_small", "0", 5, HL_SPEC_KEEP, &linewidth_option},
    {"custom", "layers", nullptr, 0, 0, &layers_option},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

HL_ConfigureSpec other_specs[] = {
    {"double", "scale", "7", static_cast<int>(offsetof(OtherRec, scale)), 0, nullptr},
    {"int", "button_height", "30", static_cast<int>(offsetof(OtherRec, button_height)), 0, nullptr},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef REC

class TestObject : public VXConfigure
{
public:
    TestRec rec;
    OtherRec other;
    int registered = 0;
    TestObject()
    {
        registered = setConfigureSpecs(test_specs, reinterpret_cast<char*>(&rec), "TestObject", this, 1);
        if (registered == 0)
            registered = setConfigureSpecs(other_specs, reinterpret_cast<char*>(&other), "TestTaskbar", this, 0);
    }
    ~TestObject() override { free(rec.layers); }  // the custom row's own field
};

int flags(const char* key)
{
    for (HL_ConfigureSpec* row = test_specs; row->type && strcmp(row->type, "end"); row++)
        if (strcmp(row->name, key) == 0)
            return row->specFlags;
    return -1;
}

bool changed(const char* key)
{
    return flags(key) & HL_SPEC_CHANGED;
}

class ConfigureTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        hl_clear_register(0);
        custom_calls = 0;
    }
    void TearDown() override { hl_clear_register(0); }
    static std::string errors() { return hl_errlog_string(0); }
    static std::string value(HLConfigure& o, const char* key) { return configText(o, key); }
};

TEST_F(ConfigureTest, DefaultsAreApplied)
{
    TestObject o;
    ASSERT_EQ(o.registered, 0) << errors();
    EXPECT_EQ(std::tie(o.rec.visible, o.rec.count, o.rec.kept, o.rec.scale), std::make_tuple(1, 5, 3, 2.5));
    EXPECT_STREQ(o.rec.label, "hello");
    EXPECT_EQ(o.rec.margin, nullptr) << "an explicit-only row takes no default";
    EXPECT_EQ(o.rec.color.color, QColor("blue"));
    EXPECT_EQ(std::tie(o.rec.font.family, o.rec.font.size, o.rec.font.invalid), std::make_tuple("courier", 14, 0));
    EXPECT_EQ(std::tie(o.rec.lw_x, o.rec.lw_y, o.rec.lw_x_small), std::make_tuple(1, 1, 0));
    EXPECT_EQ(o.rec.layers, nullptr);
    EXPECT_EQ(custom_calls, 6) << "the custom row without default is not called";
    EXPECT_EQ(std::tie(o.other.scale, o.other.button_height), std::make_tuple(0.0, 0))
        << "the second table was registered without defaults";
    EXPECT_EQ(o.configure("layers", "x", nullptr), 0);
    EXPECT_EQ(custom_calls, 7) << "set, it is called";
    EXPECT_STREQ(o.rec.layers, "x");
}

TEST_F(ConfigureTest, EveryTypeSetsAndPrints)
{
    TestObject o;
    struct Case { const char* name; const char* key; const char* value; const char* printed; } cases[] = {
        {"boolean word", "visible", "off", "no"}, {"boolean digit", "visible", "1", "yes"},
        {"int", "count", "-12", "-12"}, {"int with blanks", "count", " 8 ", "8"}, {"double", "scale", "1.25e2", "125"},
        {"double fortran exponent", "scale", "1D-3", "0.001"},
        {"double sentinel", "scale", "2.12345e30", "2.12345e+30"}, {"string keeps blanks", "label", "a  b", "a  b"},
        {"string empty", "label", "", ""}, {"color name", "color", "red", "red"},
        {"color hsl", "color", "240,1,0.5,0.5", "240,1,0.5,0.5"},
        {"font", "font", "helvetica,12,Bold,yes", "helvetica,12,Bold,yes"},
        {"custom pair", "linewidth_tics", "3", "3 3"}, {"custom single refines", "linewidth_tics_x", "5", "5"},
        {"explicit-only row", "margin", "4", "4"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        hl_clear_register(0);
        EXPECT_EQ(o.configure(c.key, c.value, nullptr), 0) << errors();
        EXPECT_EQ(value(o, c.key), c.printed);
    }
    EXPECT_EQ(std::tie(o.rec.lw_x, o.rec.lw_y), std::make_tuple(5, 3));
    EXPECT_NEAR(o.rec.color.color.alphaF(), 0.5, 1e-3);
    EXPECT_EQ(value(o, "linewidth_tics_y"), "Illegal offset value");
    EXPECT_EQ(value(o, "nosuch"), "(null)");
    EXPECT_NE(errors().find("'nosuch'"), std::string::npos);
}

TEST_F(ConfigureTest, BadValuesLeaveTheStateAndNameKeyAndValue)
{
    TestObject o;
    ASSERT_EQ(o.configure("color", "red", "font", "times,9", nullptr), 0);
    struct Case { const char* name; const char* key; const char* value; } cases[] = {
        {"boolean", "visible", "maybe"}, {"int trailing text", "count", "12abc"}, {"int fraction", "count", "1.5"},
        {"int empty", "count", ""}, {"int null", "count", nullptr}, {"int too large", "count", "3000000000"},
        {"double comma", "scale", "1,5"}, {"double word", "scale", "abc"}, {"double trailing text", "scale", "2.5x"},
        {"double overflow", "scale", "1e999"}, {"color", "color", "notacolour"}, {"font size", "font", "times,big"},
        {"font fields", "font", "a,1,Bold,yes,5"}, {"ptr from text", "hook", "0x1234"},
        {"custom", "linewidth_tics", "thick"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        hl_clear_register(0);
        std::string before = value(o, c.key);
        EXPECT_LT(o.configure(c.key, c.value, nullptr), 0);
        EXPECT_EQ(value(o, c.key), before);
        EXPECT_FALSE(changed(c.key));
        std::string shown = std::string("'") + (c.value ? c.value : "(null)") + "' for key '" + c.key + "'";
        EXPECT_NE(errors().find(shown), std::string::npos) << errors();
    }
    EXPECT_EQ(o.rec.color.color, QColor("red"));
    EXPECT_EQ(o.rec.font.family, "times");
}

TEST_F(ConfigureTest, UnknownKeyFailsAndStopsThePairs)
{
    TestObject o;
    EXPECT_LT(o.configure("count", "7", "nosuch", "1", "scale", "9", nullptr), 0);
    EXPECT_EQ(errors(), "HLConfigure::configure: Unknown key 'nosuch' for TestObject.\n");
    EXPECT_EQ(o.rec.count, 7) << "pairs before the failure stay set";
    EXPECT_EQ(o.rec.scale, 2.5) << "pairs after it are not set";
    EXPECT_FALSE(o.hasConfigureKey("nosuch"));
    EXPECT_TRUE(o.hasConfigureKey("button_height"));
    hl_clear_register(0);
    EXPECT_LT(o.setConfigureValue("Count", "1"), 0) << "keys are case sensitive";
}

TEST_F(ConfigureTest, KeepFlagKeepsOnEmptyText)
{
    TestObject o;
    for (const char* key : {"kept", "color", "linewidth_tics"})
        for (const char* empty : {"", static_cast<const char*>(nullptr)})
            EXPECT_EQ(o.configure(key, empty, nullptr), 0) << key;
    EXPECT_EQ(std::tie(o.rec.kept, o.rec.lw_x), std::make_tuple(3, 1));
    EXPECT_EQ(o.rec.color.color, QColor("blue"));
    // a string row without the flag takes the empty text, and null
    EXPECT_EQ(o.configure("label", nullptr, nullptr), 0);
    EXPECT_EQ(o.rec.label, nullptr);
    // a font row keeps on empty text only with the flag; without it unsets
    EXPECT_EQ(o.configure("font_kept", "", nullptr), 0);
    EXPECT_EQ(std::tie(o.rec.font_kept.invalid, o.rec.font_kept.family), std::make_tuple(0, "helvetica"));
    EXPECT_FALSE(changed("font_kept"));
    EXPECT_EQ(o.configure("font", "", nullptr), 0);
    EXPECT_EQ(o.rec.font.invalid, 1);
    EXPECT_TRUE(changed("font"));
    EXPECT_EQ(value(o, "font"), "");
}

TEST_F(ConfigureTest, ChangedFlagOnlyForRealChanges)
{
    TestObject o;
    struct Case { const char* name; const char* key; const char* value; bool changed; } cases[] = {
        {"same colour name", "color", "blue", false}, {"other colour", "color", "red", true},
        {"colour again", "color", "red", false}, {"same int", "count", "5", false}, {"other int", "count", "6", true},
        {"same boolean in other words", "visible", "true", false}, {"same double", "scale", "2.50", false},
        {"other double", "scale", "-2.5", true}, {"same string", "label", "hello", false},
        {"other string", "label", "bye", true}, {"same font", "font", "courier,14", false},
        {"other font", "font", "courier,15", true}, {"same custom", "linewidth_tics", "1", false},
        {"other custom", "linewidth_tics", "2", true}, {"same second table", "button_height", "0", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(o.configure(c.key, c.value, nullptr), 0) << errors();
        int f = c.key == std::string("button_height") ? other_specs[1].specFlags : flags(c.key);
        EXPECT_EQ((f & HL_SPEC_CHANGED) != 0, c.changed);
    }
}

TEST_F(ConfigureTest, SecondTableOfAnotherClass)
{
    TestObject o;
    ASSERT_EQ(o.configure("scale", "4", "button_height", "25", nullptr), 0) << errors();
    EXPECT_EQ(std::tie(o.rec.scale, o.other.scale, o.other.button_height), std::make_tuple(4.0, 4.0, 25))
        << "a key reaches every table that has it";
    EXPECT_EQ(value(o, "button_height"), "25");
    EXPECT_EQ(o.setConfigureSpecs(other_specs, reinterpret_cast<char*>(&o.other), "TestTaskbar", &o, 1), 0)
        << "the same table and record again is ignored";
    EXPECT_EQ(o.other.button_height, 25);
}

TEST_F(ConfigureTest, DocumentAndTextForms)
{
    TestObject o;
    Kv* kv = nullptr;
    ASSERT_EQ(kvcompile("count 11\nnot_a_key whatever\nlabel  two  words # comment\n"
                        "color \\#ff0000\nlayers &Arr{\n  a &Arr{\n    b 1\n  }\n}\n",
                        &kv),
              0);
    EXPECT_EQ(o.configure(kv), 0) << errors();
    kvfree(kv);
    EXPECT_EQ(o.rec.count, 11);
    EXPECT_STREQ(o.rec.label, "two  words");
    EXPECT_EQ(o.rec.color.color, QColor("#ff0000"));
    ASSERT_NE(o.rec.layers, nullptr);
    EXPECT_STREQ(o.rec.layers, "layers &Arr{\na &Arr{\n    b 1\n}\n}\n");
    // the text given to the row compiles back to the same entries
    Kv* back = nullptr;
    ASSERT_EQ(kvcompile(o.rec.layers, &back), 0);
    void* a = nullptr;
    EXPECT_EQ(kvget(back, "layers", &a), KV_KIND_ARR);
    kvfree(back);
    ASSERT_EQ(o.configureText("layers &Tbl{\nr1\nr2\n}\nscale 0.5\n"), 0) << errors();
    EXPECT_STREQ(o.rec.layers, "layers &Tbl{\n    r1\n    r2\n}\n");
    EXPECT_EQ(o.rec.scale, 0.5);
    EXPECT_LT(o.configureText("count 1\nscale &Arr{\n}\nlabel not reached\n"), 0);
    EXPECT_EQ(o.rec.count, 1);
    EXPECT_STREQ(o.rec.label, "two  words");
    hl_clear_register(0);
    EXPECT_LT(o.configureText("count 2\n}\n"), 0);
    EXPECT_EQ(o.rec.count, 1);
    EXPECT_NE(errors().find("HLConfigure::configureText: kvcompile() error."), std::string::npos) << errors();
}

TEST_F(ConfigureTest, DoublesIgnoreTheLocale)
{
    const char* old = setlocale(LC_NUMERIC, nullptr);
    std::string saved = old ? old : "C";
    if (!setlocale(LC_NUMERIC, "de_DE.UTF-8") && !setlocale(LC_NUMERIC, "fr_FR.UTF-8"))
        GTEST_SKIP() << "no locale with a decimal comma";
    TestObject o;
    EXPECT_EQ(o.configure("scale", "1.75", nullptr), 0);
    EXPECT_EQ(o.rec.scale, 1.75);
    EXPECT_EQ(value(o, "scale"), "1.75");
    EXPECT_LT(o.configure("scale", "1,5", nullptr), 0);
    setlocale(LC_NUMERIC, saved.c_str());
}

TEST_F(ConfigureTest, TableErrors)
{
    HLConfigure plain;
    TestRec rec;
    EXPECT_LT(plain.setConfigureSpecs(nullptr, reinterpret_cast<char*>(&rec), "X", nullptr, 1), 0);
    HL_ConfigureSpec no_proc[] = {{"custom", "c", nullptr, 0, 0, nullptr}, {"end", nullptr, nullptr, 0, 0, nullptr}};
    EXPECT_LT(plain.setConfigureSpecs(no_proc, reinterpret_cast<char*>(&rec), "X", nullptr, 1), 0);
    EXPECT_FALSE(plain.hasConfigureKey("c"));
    // colours and fonts need the library's parsers: the plain engine refuses
    hl_clear_register(0);
    HL_ConfigureSpec colour[] = {{"color", "color", "red", static_cast<int>(offsetof(TestRec, color)), 0, nullptr},
                                 {"int", "count", "x", static_cast<int>(offsetof(TestRec, count)), 0, nullptr},
                                 {"end", nullptr, nullptr, 0, 0, nullptr}};
    EXPECT_LT(plain.setConfigureSpecs(colour, reinterpret_cast<char*>(&rec), "X", nullptr, 1), 0);
    EXPECT_NE(errors().find("No parser for type 'color'"), std::string::npos) << errors();
    EXPECT_NE(errors().find("Default 'x' of key 'count' of X does not parse"), std::string::npos) << errors();
    EXPECT_TRUE(plain.hasConfigureKey("count")) << "the table stays registered";
    EXPECT_EQ(plain.configure("count", "4", nullptr), 0);
    EXPECT_EQ(rec.count, 4);
}

TEST_F(ConfigureTest, RecordSharedWithAnotherObjectIsFreedOnce)
{
    auto owner = std::make_unique<TestObject>();
    {
        VXConfigure second;
        ASSERT_EQ(second.setConfigureSpecs(test_specs, reinterpret_cast<char*>(&owner->rec), "TestObject",
                                           owner.get(), 0),
                  0);
        EXPECT_EQ(second.configure("label", "through the second", nullptr), 0);
    }
    EXPECT_STREQ(owner->rec.label, "through the second") << "the second object did not free the owner's strings";
    EXPECT_EQ(owner->configure("label", "replaced", nullptr), 0);
    owner.reset();  // frees the strings once; the sanitizer checks
}

// A record held by pointer and deleted in the class's own destructor.
class HeapRecordObject : public VXConfigure
{
public:
    TestRec* vars = new TestRec;
    HeapRecordObject() { setConfigureSpecs(test_specs, reinterpret_cast<char*>(vars), "HeapRecord", this, 1); }
    ~HeapRecordObject() override
    {
        releaseConfigureStrings();
        EXPECT_EQ(vars->label, nullptr);
        delete vars;
    }
};

TEST_F(ConfigureTest, RecordHeldByPointerIsReleasedFirst)
{
    auto o = std::make_unique<HeapRecordObject>();
    EXPECT_STREQ(o->vars->label, "hello");
    EXPECT_EQ(o->configure("label", "other", nullptr), 0);
    o->releaseConfigureStrings();
    EXPECT_EQ(o->vars->label, nullptr);
    o->vars->label = strdup("set after release");  // no longer the engine's to free
    free(o->vars->label);
    o->vars->label = nullptr;
    o.reset();  // the base destructor must not touch the deleted record
}

} // namespace
