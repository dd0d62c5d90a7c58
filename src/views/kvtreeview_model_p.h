// The model of VXKvTreeview: one node per row of the document.  Private to
// the library.
#pragma once

#include <QAbstractItemModel>
#include <QString>

#include <vector>

class VXKvTreeview;

struct VXKvTreeviewItem
{
    VXKvTreeviewItem* parent = nullptr;
    std::vector<VXKvTreeviewItem*> children;
    int row = 0;              // place among the parent's children
    int itemKvIndex = -1;     // entry of the document, -1 for a comment line or the root
    int doc_row = -1;         // row of the document (HLKv::row()), -1 for the root
    bool has_value = false;   // the value column holds a value that may be edited
    bool changed = false;     // edited in the view
    bool refused = false;     // candidate was refused; it is shown instead of the value
    QString candidate;        // the refused text
    QString refusal;          // why

    bool isEditable(int column, const VXKvTreeview* view) const;
    bool isSelectable(int column) const { return column >= 0; }
};

class VXKvTreeviewModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    explicit VXKvTreeviewModel(VXKvTreeview* master);

    // Build the nodes from the document again, inside a model reset.
    void setupModelData();

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

    VXKvTreeviewItem* itemOf(const QModelIndex& index) const;

    VXKvTreeview* master;
    VXKvTreeviewItem root;

private:
    std::vector<VXKvTreeviewItem> items;  // every node but the root, in document order
};
