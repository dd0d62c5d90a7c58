// Qt event type names for trace lines.
#include "support/testsupport.h"

#include "foundation/qeventnames_p.h"

#include <gtest/gtest.h>

#include <QEvent>
#include <QMetaEnum>

#include <string>

TEST(EventNames, QtNamesBelow215)
{
    struct Case { const char* name; int type; const char* text; } cases[] = {
        {"press", QEvent::MouseButtonPress, "MouseButtonPress"}, {"paint", QEvent::Paint, "Paint"},
        {"resize", QEvent::Resize, "Resize"},
        {"last named", QEvent::ApplicationStateChange, "ApplicationStateChange"},
        {"none", QEvent::None, "None"}, {"a gap Qt does not name", 28, "None"}, {"first cut off", 215, "None"},
        {"user range", 1000, "None"}, {"user type", QEvent::User, "None"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QEvent event(static_cast<QEvent::Type>(c.type));
        EXPECT_STREQ(VX_qevent_type_str(&event), c.text);
    }
    EXPECT_STREQ(VX_qevent_type_str(nullptr), "None");
    // every name given below 215 is Qt's own for that type
    QMetaEnum names = QMetaEnum::fromType<QEvent::Type>();
    int named = 0;
    for (int type = 0; type < 215; type++) {
        QEvent event(static_cast<QEvent::Type>(type));
        std::string text = VX_qevent_type_str(&event);
        if (text == "None")
            continue;
        EXPECT_EQ(names.keyToValue(text.c_str()), type) << text;
        named++;
    }
    EXPECT_GT(named, 150);
}
