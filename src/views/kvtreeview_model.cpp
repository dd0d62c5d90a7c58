// VXKvTreeviewModel: the nodes of a parameter document and their columns.
#include "toolkit/base/errors.h"
#include "toolkit/params/hlkv.h"
#include "views/kvtreeview.h"
#include "views/kvtreeview_model_p.h"

#include <QColor>
#include <QFont>
#include <QSize>

bool VXKvTreeviewItem::isEditable(int column, const VXKvTreeview* view) const
{
    if (itemKvIndex < 0)
        return false;
    if (column == VX_KVTREE_VALUE)
        return has_value && view->params.allow_value_edits;
    if (column == VX_KVTREE_COMMENT) {
        const HLKv_Entry* e = view->kv->entry(itemKvIndex);
        return view->params.allow_value_edits && view->params.allow_comment_edits && e
               && e->kind != HLKV_ENTRY_LITERAL && e->kind != HLKV_ENTRY_LITERAL_LINE;
    }
    return false;
}

VXKvTreeviewModel::VXKvTreeviewModel(VXKvTreeview* master) : QAbstractItemModel(master), master(master) {}

void VXKvTreeviewModel::setupModelData()
{
    beginResetModel();
    root.children.clear();
    items.clear();
    const HLKv* kv = master->kv;
    const int n = kv ? kv->rowCount() : 0;
    // reserved once: children point into the vector
    items.resize(static_cast<size_t>(n));
    // the last node of each level: a deeper row goes under it
    std::vector<VXKvTreeviewItem*> last{&root};
    for (int r = 0; r < n; r++) {
        const HLKv_Entry& e = kv->row(r);
        VXKvTreeviewItem* item = &items[static_cast<size_t>(r)];
        item->doc_row = r;
        item->itemKvIndex = e.index;
        item->has_value = e.kind == HLKV_ENTRY_VALUE || e.kind == HLKV_ENTRY_ROW || e.kind == HLKV_ENTRY_LITERAL
                          || e.kind == HLKV_ENTRY_LITERAL_LINE;
        const size_t depth = std::min(static_cast<size_t>(std::max(e.level, 0)) + 1, last.size());
        last.resize(depth);
        VXKvTreeviewItem* parent = last.back();
        item->parent = parent;
        item->row = static_cast<int>(parent->children.size());
        parent->children.push_back(item);
        last.push_back(item);
    }
    endResetModel();
}

VXKvTreeviewItem* VXKvTreeviewModel::itemOf(const QModelIndex& index) const
{
    if (!index.isValid())
        return const_cast<VXKvTreeviewItem*>(&root);
    return static_cast<VXKvTreeviewItem*>(index.internalPointer());
}

QModelIndex VXKvTreeviewModel::index(int row, int column, const QModelIndex& parent) const
{
    if (column < 0 || column >= 5 || row < 0 || (parent.isValid() && parent.column() != 0))
        return QModelIndex();
    const VXKvTreeviewItem* p = itemOf(parent);
    if (static_cast<size_t>(row) >= p->children.size())
        return QModelIndex();
    return createIndex(row, column, p->children[static_cast<size_t>(row)]);
}

QModelIndex VXKvTreeviewModel::parent(const QModelIndex& index) const
{
    if (!index.isValid())
        return QModelIndex();
    const VXKvTreeviewItem* p = itemOf(index)->parent;
    if (!p || p == &root)
        return QModelIndex();
    return createIndex(p->row, 0, const_cast<VXKvTreeviewItem*>(p));
}

int VXKvTreeviewModel::rowCount(const QModelIndex& parent) const
{
    if (parent.isValid() && parent.column() != 0)
        return 0;
    return static_cast<int>(itemOf(parent)->children.size());
}

int VXKvTreeviewModel::columnCount(const QModelIndex&) const
{
    return 5;
}

QVariant VXKvTreeviewModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return QVariant();
    const VXKvTreeviewItem* item = itemOf(index);
    const HLKv_Entry& e = master->kv->row(item->doc_row);
    const int column = index.column();
    const VxKvTreeviewParams& p = master->params;
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        switch (column) {
        case VX_KVTREE_KEY:
            return QString::fromStdString(e.key);
        case VX_KVTREE_VALUE:
            return item->refused ? item->candidate : QString::fromStdString(e.value);
        case VX_KVTREE_CONSTRAINTS:
            return QString::fromStdString(e.constraint_text);
        case VX_KVTREE_COMMENT:
            return QString::fromStdString(e.comment);
        case VX_KVTREE_SOURCE:
            return item->itemKvIndex >= 0 ? QString::fromStdString(master->kv->getSource(item->itemKvIndex))
                                          : QString();
        }
        return QVariant();
    case Qt::FontRole:
        if (column == VX_KVTREE_KEY && !e.key.empty()) {
            QFont f = p.font;
            f.setBold(true);
            return f;
        }
        return QVariant();
    case Qt::ForegroundRole:
        if (column == VX_KVTREE_KEY && !e.key.empty()) {
            const QString key = QString::fromStdString(e.key);
            const VX_Color* c = &p.key_foreground;
            if (key.contains(QLatin1String("&Arr")))
                c = &p.key_arr_foreground;
            else if (key.contains(QLatin1String("&Tbl")))
                c = &p.key_tbl_foreground;
            else if (key.contains(QLatin1String("&Literal")) || key == QLatin1String("@Literal")
                     || key.startsWith(QLatin1String("@Literal ")))
                c = &p.key_literal_foreground;
            return c->color.isValid() ? QVariant(c->color) : QVariant();
        }
        if (column == VX_KVTREE_VALUE && item->itemKvIndex >= 0 && item->has_value) {
            if (item->refused)
                return QColor(Qt::red);
            return master->checkValue(item->itemKvIndex, nullptr, nullptr, nullptr) ? QVariant() : QColor(Qt::red);
        }
        if (column == VX_KVTREE_CONSTRAINTS && !e.sound)
            return QColor(Qt::red);
        return QVariant();
    case Qt::ToolTipRole:
        if (column == VX_KVTREE_VALUE && item->itemKvIndex >= 0) {
            if (item->refused)
                return item->refusal;
            QString message;
            if (!master->checkValue(item->itemKvIndex, nullptr, &message, nullptr))
                return message;
        }
        if (column == VX_KVTREE_CONSTRAINTS && !e.sound)
            return tr("These constraints do not parse and are not applied.");
        return QVariant();
    case Qt::SizeHintRole:
        if (p.default_cell_height >= 1)
            return QSize(std::max(p.default_cell_width, 0), p.default_cell_height);
        return QVariant();
    default:
        return QVariant();
    }
}

QVariant VXKvTreeviewModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    static const char* titles[] = {"Key", "Value", "Constraints", "Comment", "Source"};
    return section >= 0 && section < 5 ? QVariant(tr(titles[section])) : QVariant();
}

Qt::ItemFlags VXKvTreeviewModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    const VXKvTreeviewItem* item = itemOf(index);
    Qt::ItemFlags f = Qt::ItemIsEnabled;
    if (item->isSelectable(index.column()))
        f |= Qt::ItemIsSelectable;
    if (item->isEditable(index.column(), master))
        f |= Qt::ItemIsEditable;
    return f;
}

bool VXKvTreeviewModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole || !index.isValid())
        return false;
    VXKvTreeviewItem* item = itemOf(index);
    if (!item->isEditable(index.column(), master))
        return false;
    const QString text = value.toString();
    const std::string utf8 = text.toStdString();
    if (index.column() == VX_KVTREE_COMMENT) {
        if (master->kv->setComment(item->itemKvIndex, utf8) < 0) {
            hl_clear_register(0);
            return false;
        }
    } else {
        // a refused value is kept on screen, in red; the document keeps the old one
        const int before = hl_error_count();
        if (master->kv->setValue(item->itemKvIndex, utf8, 1) < 0) {
            QString why = QString::fromUtf8(hl_errlog_string(0)).trimmed();
            if (before == 0)
                hl_clear_register(0);
            item->refused = true;
            item->candidate = text;
            item->refusal = why.section(QLatin1Char('\n'), -1);
        } else {
            item->refused = false;
            item->candidate.clear();
            item->refusal.clear();
        }
    }
    item->changed = true;
    emit dataChanged(this->index(item->row, 0, index.parent()), this->index(item->row, 4, index.parent()));
    return true;
}
