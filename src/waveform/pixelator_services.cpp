// The pixelator's calls into the filter service and the event service.
//
// The services live in toolkit/signal (wffilter_pkt2, release_hook),
// toolkit/waveio (wfload_scratch, wfload_error) and toolkit/events
// (QKClient).
#include "waveform/pixelator_services_p.h"

#include "toolkit/base/errors.h"

#include <QMutex>

#include <cstdlib>
#include <memory>
#include <string>
#include <unordered_map>

#include "toolkit/events/qkclient.h"
#include "waveform/traceviewqkclient.h"
#include "toolkit/signal/wffilter.h"
#include "toolkit/waveio/wfload.h"

int pixelator_filter(double* tstart, int* nsamp, double* dt, float** data, int* size, const QString& filter,
                     Hook** hookptr)
{
    const QByteArray text = filter.toUtf8();
    return wffilter_pkt2(tstart, nsamp, dt, data, size, text.constData(), hookptr);
}

void pixelator_release_hook(Hook** hook)
{
    release_hook(hook);
}

namespace {

// Waveform rows and samples through an event-service client: the rows of
// getWfdiscs(), read from the client's scratch row, the samples by
// wfload_scratch() from the files the rows name.
class QKClientReader : public VXPixelatorReader
{
public:
    explicit QKClientReader(QKClient* client) : client_(client) {}

    int getWfdiscs(const QString& sta, const QString& chan, double t0, double t1, int calib_from_db,
                   QList<VxPixelatorRecord>& rows) override
    {
        rows.clear();
        Table<QKTableRecord> found =
            client_->getWfdiscs(sta.toUtf8().constData(), chan.toUtf8().constData(), t0, t1, calib_from_db);
        const QString path = QString::fromStdString(client_->getWfdiscPath());
        for (long i = 0; i < found.max(); i++) {
            QKTableRecord rec = found.get(i);
            Rsptr db{};
            VxPixelatorRecord row;
            char segtype[RS_STRSZ] = {0};
            char fname[RS_STRSZ] = {0};
            if (client_->getRsptr("wfdisc", &rec, &db) < 0 ||
                rsgetv(db, nullptr, "time", &row.time, "endtime", &row.endtime, "samprate", &row.samprate, "calib",
                       &row.calib, "calper", &row.calper, "nsamp", &row.nsamp, "segtype", segtype, nullptr) < 0) {
                hl_register_error(0, "VXPixelator::getTraceQk: rsgetv() error.\n");
                return -1;
            }
            pixelator_copy_text(row.segtype, sizeof row.segtype, segtype);
            row.file_state = rsextfile_scratch(db, "wfdisc", fname);
            row.text = QByteArray::fromStdString(rec.record);
            row.key = path + QLatin1Char('\n') + QString::fromStdString(rec.record);
            rows.append(row);
        }
        return static_cast<int>(rows.size());
    }

    int load(const VxPixelatorRecord& row, double t0, double t1, float** data, double* ts, double* te,
             long* nsamp) override
    {
        Rsptr db{};
        if (client_->getRsptr("wfdisc", row.text.constData(), &db) < 0) {
            hl_register_error(0, "VXPixelator::getTraceQk: rsgetv() error.\n");
            return -1;
        }
        *data = nullptr;
        const int ret = wfload_scratch(db, 0, data, nullptr, ts, te, t0, t1, nsamp);
        if (ret < 0)
            wfload_error(ret, 0);
        return ret;
    }

    // the loader decodes the plain formats a piece at a time and hands
    // each piece on as it goes
    int loadPieces(const VxPixelatorRecord& row, double t0, double t1, float** data, double* ts, double* te,
                   long* nsamp, Sink sink, void* context) override
    {
        static_assert(WFLOAD_PIECE_SAMPLES == 32768, "the pieces of loadPieces() are 32768 samples");
        Rsptr db{};
        if (client_->getRsptr("wfdisc", row.text.constData(), &db) < 0) {
            free(*data);
            *data = nullptr;
            hl_register_error(0, "VXPixelator::getTraceQk: rsgetv() error.\n");
            return -1;
        }
        const int ret = wfload_scratch_pieces(db, 0, data, nullptr, ts, te, t0, t1, nsamp, sink, context);
        if (ret < 0)
            wfload_error(ret, 0);
        return ret;
    }

private:
    QKClient* client_;
};

} // namespace

VXPixelatorReader* pixelator_qkclient_reader(QKClient* client)
{
    if (!client)
        return nullptr;
    // one reader per client for the life of the process, as the client's
    // sources may be copied between traces
    static QMutex mutex;
    static std::unordered_map<QKClient*, std::unique_ptr<VXPixelatorReader>> readers;
    QMutexLocker lock(&mutex);
    std::unique_ptr<VXPixelatorReader>& reader = readers[client];
    if (!reader)
        reader = std::make_unique<QKClientReader>(client);
    return reader.get();
}

VXPixelatorReader* pixelator_qk_reader(VXTraceviewQKClient* client)
{
    return pixelator_qkclient_reader(client);
}
