// VXTableviewDelegate: hover reports and accentuated cells.
#include "views/tableview.h"
#include "views/tableview_model_p.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>

VXTableviewDelegate::VXTableviewDelegate(VXTableviewModel* model_, QObject* parent)
    : QStyledItemDelegate(parent), model(model_)
{
}

void VXTableviewDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                const QModelIndex& index) const
{
    VXTableview* view = model->tableview;
    const VxTableviewParams& p = view->params;
    const QModelIndex source = view->sort_proxy->mapToSource(index);
    if (!source.isValid()) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    const int row = source.row();
    const int column = source.column();

    if (option.state & QStyle::State_MouseOver) {
        if (p.hover_interaction) {
            model->last_hover_row = row;
            model->last_hover_col = column;
        } else {
            // the subclass never sees the record-number column
            const int data_column = p.show_record_numbers ? column - 1 : column;
            if (data_column >= 0)
                view->callback({QStringLiteral("hover"), QStringLiteral("%1 %2").arg(row).arg(data_column)});
        }
    }

    bool accentuate;
    if (p.hover_interaction)
        accentuate = row == model->last_hover_row && column == model->last_hover_col;
    else
        accentuate = index.data(Qt::UserRole).toInt() != 0;

    if (!accentuate) {
        model->accentuated_hash.remove(source);
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }

    // cells drawn accentuated before that are no longer so are repainted
    for (auto it = model->accentuated_hash.begin(); it != model->accentuated_hash.end();) {
        const QModelIndex other = it.key();
        bool still;
        if (other == source)
            still = true;
        else if (p.hover_interaction)
            still = false;
        else
            still = other.isValid() && model->data(other, Qt::UserRole).toInt() != 0;
        if (still) {
            ++it;
            continue;
        }
        const QModelIndex shown = view->sort_proxy->mapFromSource(other);
        if (shown.isValid())
            view->viewport()->update(view->visualRect(shown));
        it = model->accentuated_hash.erase(it);
    }

    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const QString text = opt.text;
    opt.text.clear();
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    // background, selection and focus the standard way, the text our own
    style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);

    painter->save();
    QColor pen;
    if (option.state & QStyle::State_Selected) {
        if (!p.accentuated_selected_background.color_name.isEmpty())
            painter->fillRect(option.rect, p.accentuated_selected_background.color);
        if (!p.accentuated_selected_foreground.color_name.isEmpty())
            pen = p.accentuated_selected_foreground.color;
        else if (!p.accentuated_foreground.color_name.isEmpty())
            pen = p.accentuated_foreground.color;
    } else if (!p.accentuated_foreground.color_name.isEmpty()) {
        pen = p.accentuated_foreground.color;
    }
    if (pen.isValid())
        painter->setPen(pen);
    else
        painter->setPen(opt.palette.color(option.state & QStyle::State_Selected ? QPalette::HighlightedText
                                                                                 : QPalette::Text));
    painter->setFont(opt.font);
    painter->drawText(option.rect, static_cast<int>(opt.displayAlignment), QLatin1Char(' ') + text);
    painter->restore();
    model->accentuated_hash.insert(source, 1);
}
