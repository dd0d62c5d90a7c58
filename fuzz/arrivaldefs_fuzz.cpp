// The arrival definitions of a trace view on arbitrary input: the menus
// (arrivals_menus), the display-parameter document with its colour classes
// and status line, and status formats evaluated on an arrival row.
//
// Input: the text up to a line "--" is given both as menu definitions and as
// a display-parameter document; after it, the first line is a status format
// and each further line an argument "expression format".  A refusal must
// register a message; an accepted menu text gives only the three buttons.
#include <VX.h>
#include "fuzzapp.h"

#include "toolkit/base/errors.h"
#include "toolkit/store/recordstore.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"
#include "waveform/traceviewqkclient.h"

#include <QPair>
#include <QString>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

constexpr size_t max_input = 8192;
constexpr int max_arguments = 16;

// One view over a database of one arrival, made on the first input.
struct Fixture
{
    QTemporaryDir dir;
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXTraceview> tv;
    VXTraceviewQKClient* client = nullptr;
    Rsptr row{RS_INVALID, RS_INVALID, RS_INVALID, RS_INVALID};

    Fixture()
    {
        const std::string base = dir.path().toStdString() + "/db";
        Rsptr db = rsopen(base.c_str(), "css3.0", RS_WRITE);
        Rsptr t = rslookup(db, nullptr, "arrival", nullptr, "rsNULL");
        rsload_scratch(t);
        t.field = RS_ALL;
        t.record = RS_SCRATCH;
        rsputv(t, nullptr, "sta", "STA1", "chan", "BHZ", "arid", 1L, "time", 1.5e9, "iphase", "P", nullptr);
        rsaddrecord(t);
        rsclose(db);
        vp = std::make_unique<VXViewport>(nullptr, 0, 0);
        vp->resize(300, 200);
        tv = std::make_unique<VXTraceview>(vp.get(), nullptr, 0, nullptr);
        tv->init();
        tv->appendNewTrace(QStringLiteral("STA1 BHZ"));
        client = tv->registerQKServer(tv->openDatabase(QString::fromStdString(base))).qkclient;
        if (!client || client->getRsptr("arrival", &row) < 0)
            abort();
        hl_clear_register(0);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz_application();
    static Fixture* f = new Fixture;
    if (size > max_input)
        size = max_input;
    const QString input = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const qsizetype cut = input.indexOf(QStringLiteral("\n--\n"));
    const QString definitions = cut < 0 ? input : input.left(cut);
    const QStringList status = cut < 0 ? QStringList() : input.mid(cut + 4).split(QLatin1Char('\n'));

    VxTraceArrivalMenus menus;
    if (f->tv->getTrace(0)->parseArrivalsMenus(definitions, menus) < 0) {
        if (hl_error_count() == 0)
            abort();
    } else {
        for (auto it = menus.cbegin(); it != menus.cend(); ++it)
            if (it.key() != QLatin1String("left") && it.key() != QLatin1String("middle") &&
                it.key() != QLatin1String("right"))
                abort();
    }
    hl_clear_register(0);

    f->tv->display_parameters.text = definitions;
    f->tv->arrivalLook();
    f->tv->getArrivalShow("P");
    hl_clear_register(0);

    if (!status.isEmpty()) {
        QList<QPair<QString, QString>> arguments;
        for (int i = 1; i < status.size() && i <= max_arguments; i++) {
            const qsizetype blank = status.at(i).lastIndexOf(QLatin1Char(' '));
            arguments.append({status.at(i).left(blank < 0 ? 0 : blank), status.at(i).mid(blank + 1)});
        }
        QString message;
        if (f->tv->parseArrivalStatusMsg(f->client, f->row, status.first().left(1024), arguments, message) < 0 &&
            hl_error_count() == 0)
            abort();
        hl_clear_register(0);
    }
    return 0;
}
