// The arrivals shown on the traces: selection, tags and the copy clipboard.
//
// Selection and the clipboard are flags of the shown arrivals
// (arrivals_hash, arid to its arrivals on all traces).  A full paint builds
// the table again; the table of the paint before (arrivals_hash_existing)
// gives each arrival its flags back, so a selection outlives a redraw but
// not an arrival that leaves the window.  Tags (arrivals_tags_hash) stay
// until they are cleared, shown or not.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "viewport/viewport.h"
#include "viewport/vxevent.h"
#include "waveform/trace.h"

#include <QRectF>

#include <algorithm>

QList<long> VXTraceview::getSelectedArrivals()
{
    QList<long> arids;
    for (auto it = arrivals_hash.cbegin(); it != arrivals_hash.cend(); ++it) {
        for (const VxTraceArrival& a : it.value()) {
            if (a.selected) {
                arids.append(it.key());
                break;
            }
        }
    }
    std::sort(arids.begin(), arids.end());
    if (temp_selection_arid >= 0 && !arids.contains(temp_selection_arid))
        arids.append(temp_selection_arid);
    return arids;
}

QList<VxTraceArrival> VXTraceview::getClipboard()
{
    QList<VxTraceArrival> clip;
    for (auto it = arrivals_hash.cbegin(); it != arrivals_hash.cend(); ++it) {
        if (!it.value().isEmpty() && it.value().first().in_clipboard)
            clip.append(it.value().first());
    }
    std::sort(clip.begin(), clip.end(),
              [](const VxTraceArrival& a, const VxTraceArrival& b) { return a.time < b.time; });
    return clip;
}

// --- selection

namespace {

// Whether flag is set on an arrival of arid: in this paint's table when
// the arid is there, else in the last paint's.
bool flagOf(const QHash<long, QList<VxTraceArrival>>& now, const QHash<long, QList<VxTraceArrival>>& before,
            long arid, int VxTraceArrival::*flag)
{
    const auto it = now.constFind(arid);
    const QList<VxTraceArrival>& list = it != now.cend() ? it.value() : before.value(arid);
    return std::any_of(list.cbegin(), list.cend(), [flag](const VxTraceArrival& a) { return a.*flag != 0; });
}

void setFlag(QHash<long, QList<VxTraceArrival>>& table, long arid, int VxTraceArrival::*flag, int value)
{
    auto it = table.find(arid);
    if (it == table.end())
        return;
    for (VxTraceArrival& a : it.value())
        a.*flag = value;
}

void setFlagAll(QHash<long, QList<VxTraceArrival>>& table, int VxTraceArrival::*flag, int value)
{
    for (auto it = table.begin(); it != table.end(); ++it)
        for (VxTraceArrival& a : it.value())
            a.*flag = value;
}

} // namespace

bool VXTraceview::arrivalIsSelected(long arid)
{
    return flagOf(arrivals_hash, arrivals_hash_existing, arid, &VxTraceArrival::selected);
}

bool VXTraceview::arrivalIsInClipboard(long arid)
{
    return flagOf(arrivals_hash, arrivals_hash_existing, arid, &VxTraceArrival::in_clipboard);
}

int VXTraceview::setSelectedArrival(long arid, QString answer)
{
    const bool now = arrivalIsSelected(arid);
    int want = 0;
    if (answer == QLatin1String("toggle")) {
        want = now ? 0 : 1;
    } else if (HL_ParseBoolean(answer.toUtf8().constData(), &want) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setSelectedArrival: Unable to parse boolean from '%s'.\n",
                          answer.toUtf8().constData());
        return -1;
    }
    if (!arrivals_hash.contains(arid)) {
        // an arid that is not shown cannot be selected: nothing changes
        hl_complain(0, "VXTraceview::setSelectedArrival: empty arrivals_hash for arid %ld\n", arid);
        return 0;
    }
    if ((want != 0) == now)
        return 0;
    setFlag(arrivals_hash, arid, &VxTraceArrival::selected, want ? 1 : 0);
    setFlag(arrivals_hash_existing, arid, &VxTraceArrival::selected, want ? 1 : 0);
    refresh(0);
    return 1;
}

int VXTraceview::setSelectedArrival(long arid)
{
    return setSelectedArrival(arid, QStringLiteral("yes"));
}

int VXTraceview::clearSelectedArrival(long arid)
{
    return setSelectedArrival(arid, QStringLiteral("no"));
}

void VXTraceview::clearSelectedArrivals()
{
    setFlagAll(arrivals_hash, &VxTraceArrival::selected, 0);
    setFlagAll(arrivals_hash_existing, &VxTraceArrival::selected, 0);
    refresh(0);
}

int VXTraceview::setSelectedArrivals(const QRectF& band, int select)
{
    VXViewport* vp = getViewportParent();
    if (!vp)
        return 0;
    const QRectF r = band.normalized();
    int changed = 0;
    for (auto it = arrivals_hash.begin(); it != arrivals_hash.end(); ++it) {
        bool inside = false;
        for (const VxTraceArrival& a : std::as_const(it.value())) {
            if (!a.trace)
                continue;
            double x = 0.0, ytop = 0.0, ybottom = 0.0;
            vp->getPcoordX(a.point.x, &x);
            vp->getPcoordY(a.trace->vars.ytop, &ytop);
            vp->getPcoordY(a.trace->vars.ybottom, &ybottom);
            // the glyph's line spans the band: it is under the band when
            // its column is and the rows meet
            if (x >= r.left() && x <= r.right() && ybottom >= r.top() && ytop <= r.bottom())
                inside = true;
        }
        if (!inside)
            continue;
        for (VxTraceArrival& a : it.value())
            if (a.selected != (select ? 1 : 0)) {
                a.selected = select ? 1 : 0;
                changed++;
            }
        setFlag(arrivals_hash_existing, it.key(), &VxTraceArrival::selected, select ? 1 : 0);
    }
    if (changed)
        refresh(0);
    return changed;
}

int VXTraceview::setSelectedArrivals(VXEvent* event, int select)
{
    if (!event)
        return 0;
    return setSelectedArrivals(QRectF(arrivals_band_origin, event->pt), select);
}

// --- the copy clipboard

void VXTraceview::setCopyClipboard()
{
    // a copy replaces what the clipboard held
    const QList<long> selected = getSelectedArrivals();
    setFlagAll(arrivals_hash, &VxTraceArrival::in_clipboard, 0);
    setFlagAll(arrivals_hash_existing, &VxTraceArrival::in_clipboard, 0);
    for (long arid : selected) {
        setFlag(arrivals_hash, arid, &VxTraceArrival::in_clipboard, 1);
        setFlag(arrivals_hash_existing, arid, &VxTraceArrival::in_clipboard, 1);
    }
    refresh(0);
}

void VXTraceview::clearCopyClipboard()
{
    setFlagAll(arrivals_hash, &VxTraceArrival::in_clipboard, 0);
    setFlagAll(arrivals_hash_existing, &VxTraceArrival::in_clipboard, 0);
}

// --- tags

int VXTraceview::setTags(long arid, QString tag, int add)
{
    tag = tag.trimmed();
    if (tag.isEmpty() || tag.contains(QLatin1Char(' '))) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setTags: Illegal tag '%s'.\n", tag.toUtf8().constData());
        return -1;
    }
    QStringList tags = arrivals_tags_hash.value(arid);
    if (add) {
        if (tags.contains(tag))
            return 0;
        tags.append(tag);
    } else if (!tags.removeAll(tag)) {
        return 0;
    }
    if (tags.isEmpty())
        arrivals_tags_hash.remove(arid);
    else
        arrivals_tags_hash.insert(arid, tags);
    refresh(0);
    return 0;
}

int VXTraceview::setSelectedArrivalsTags(QString tag, int add)
{
    for (long arid : getSelectedArrivals())
        if (setTags(arid, tag, add) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setSelectedArrivalsTags: setTags() error.\n");
            return -1;
        }
    return 0;
}

int VXTraceview::setAssociatedArrivalsTags(int add)
{
    // the arrivals of the origin shown, tagged by how they are used
    for (long i = 0; i < current_associations.max(); i++) {
        const QKAssociation& a = current_associations.get(i);
        const QString tag = a.defining ? QStringLiteral("defining") : QStringLiteral("nondefining");
        if (setTags(a.arid, tag, add) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setAssociatedArrivalsTags: setTags() error.\n");
            return -1;
        }
    }
    return 0;
}

void VXTraceview::clearAllTags()
{
    arrivals_tags_hash.clear();
    arrivals_tags_hash_existing.clear();
    refresh(0);
}

void VXTraceview::clearSelectedArrivalsTags()
{
    for (long arid : getSelectedArrivals()) {
        arrivals_tags_hash.remove(arid);
        arrivals_tags_hash_existing.remove(arid);
    }
    refresh(0);
}

void VXTraceview::clearTags(long arid)
{
    arrivals_tags_hash.remove(arid);
    arrivals_tags_hash_existing.remove(arid);
    refresh(0);
}

QStringList VXTraceview::getArrivalTags(long arid)
{
    return arrivals_tags_hash.value(arid);
}

// --- output

namespace {

// 1 when the arrival has an association row, else 0.
int associationStatus(const QHash<long, QList<VxTraceArrival>>& now, const QHash<long, QList<VxTraceArrival>>& before,
                      long arid)
{
    const QList<VxTraceArrival> list = now.contains(arid) ? now.value(arid) : before.value(arid);
    return !list.isEmpty() && list.first().arrival.link_to_any_assoc ? 1 : 0;
}

void outputLines(const QList<long>& arids, const QHash<long, QList<VxTraceArrival>>& now,
                 const QHash<long, QList<VxTraceArrival>>& before, QString& output)
{
    output.clear();
    for (long arid : arids)
        output += QString::asprintf("%ld %d\n", arid, associationStatus(now, before, arid));
}

} // namespace

void VXTraceview::outputSelectedArrivals(QString& output)
{
    outputLines(getSelectedArrivals(), arrivals_hash, arrivals_hash_existing, output);
}

void VXTraceview::outputTaggedArrivals(QString& output)
{
    QList<long> arids = arrivals_tags_hash.keys();
    std::sort(arids.begin(), arids.end());
    outputLines(arids, arrivals_hash, arrivals_hash_existing, output);
}
