// VXKvOptionsDialog: frame, buttons, check boxes, status line and the
// options instance.
#include "views/optionsdialog.h"

#include "toolkit/base/errors.h"
#include "toolkit/params/kv.h"
#include "views/kvtreeview.h"
#include "views/kvtreeview_model_p.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace {

const char* options_file = "optionsdialog";

// The register's last line, for the status line; the register is emptied.
QString takeRegister()
{
    QString text = QString::fromUtf8(hl_errlog_string(0)).trimmed();
    hl_clear_register(0);
    return text.section(QLatin1Char('\n'), -1);
}

QString attempt(const std::string& key, const std::string& value)
{
    return QStringLiteral("Attempting to change '%1' to '%2': ")
        .arg(QString::fromStdString(key).toHtmlEscaped(), QString::fromStdString(value).toHtmlEscaped());
}

} // namespace

VXKvOptionsDialog::OptionsHLKv::OptionsHLKv(const std::string& name, VXKvOptionsDialog* od)
    : HLKv(name, HLKV_FROM_FILE), od(od)
{
}

void VXKvOptionsDialog::OptionsHLKv::valueChangedCallback(const std::string& key, int index,
                                                          const std::string& value, std::string& message)
{
    od->reportChange(key, index, value, message);
}

VXKvOptionsDialog::VXKvOptionsDialog(const QString& kv_name, int show_controls, int options_params)
    : QFrame(nullptr), show_controls(show_controls), options_params(options_params)
{
    construct(kv_name, nullptr);
}

VXKvOptionsDialog::VXKvOptionsDialog(HLKv* kv, int show_controls, int options_params)
    : QFrame(nullptr), show_controls(show_controls), options_params(options_params)
{
    construct(QString(), kv);
}

VXKvOptionsDialog::VXKvOptionsDialog(VXKvOptionsDialog* parent)
    : QFrame(nullptr), parent_dialog(parent), show_controls(0), options_params(1)
{
    construct(QString(), nullptr);
    setWindowTitle(QStringLiteral("OptionsDialog options"));
}

void VXKvOptionsDialog::construct(const QString& kv_name, HLKv* kv)
{
    try {
        init(kv_name, kv);
    } catch (const char* what) {
        hl_register_error(0, "VXKvOptionsDialog::VXKvOptionsDialog: init error: %s\n", what);
        delete tv;
        tv = nullptr;
        if (free_hlkv)
            delete hlkv;
        hlkv = nullptr;
        throw "Exception";
    }
}

VXKvOptionsDialog::~VXKvOptionsDialog()
{
    delete options;
    // the tree goes before the document it shows
    delete tv;
    tv = nullptr;
    if (free_hlkv)
        delete hlkv;
}

void VXKvOptionsDialog::init(const QString& kv_name, HLKv* kv)
{
    if (options_params) {
        try {
            hlkv = new OptionsHLKv(options_file, this);
        } catch (const char* what) {
            hl_register_error(0, "VXKvOptionsDialog::init: new OptionsHLKv(%s) error: %s\n", options_file, what);
            throw "Exception";
        }
        free_hlkv = 1;
    } else if (!kv) {
        const std::string name = kv_name.toStdString();
        try {
            hlkv = new OptionsHLKv(name, this);
        } catch (const char* what) {
            hl_register_error(0, "VXKvOptionsDialog::init: new HLKv(%s) error: %s\n", name.c_str(), what);
            throw "Exception";
        }
        free_hlkv = 1;
        setWindowTitle(kv_name);
    } else {
        hlkv = kv;
        free_hlkv = 0;
    }
    makeFrame();
}

void VXKvOptionsDialog::makeFrame()
{
    layout = new QGridLayout(this);
    int row = 0;
    if (show_controls) {
        auto* buttons = new QHBoxLayout();
        expand_button = new QPushButton(tr("Expand all"), this);
        collapse_button = new QPushButton(tr("Collapse all"), this);
        save_button = new QPushButton(tr("Save as..."), this);
        options_button = new QPushButton(tr("Options..."), this);
        for (QPushButton* b : {expand_button, collapse_button, save_button, options_button})
            buttons->addWidget(b);
        buttons->addStretch(1);
        layout->addLayout(buttons, row++, 0);

        auto* checks = new QHBoxLayout();
        allow_value_edits_check = new QCheckBox(tr("Allow value edits"), this);
        noninline_comments_check = new QCheckBox(tr("Show non-inline comments"), this);
        comments_check = new QCheckBox(tr("Show comments"), this);
        constraints_check = new QCheckBox(tr("Show constraints"), this);
        sources_check = new QCheckBox(tr("Show source"), this);
        for (QCheckBox* c : {allow_value_edits_check, noninline_comments_check, comments_check, constraints_check,
                             sources_check})
            checks->addWidget(c);
        checks->addStretch(1);
        layout->addLayout(checks, row++, 0);
    }

    try {
        tv = new VXKvTreeview(this, hlkv);
    } catch (const char* what) {
        hl_register_error(0, "VXKvOptionsDialog::makeFrame: new VXKvTreeview() error: %s\n", what);
        throw "Exception";
    }
    layout->addWidget(tv, row++, 0);
    layout->setRowStretch(row - 1, 1);
    msg = new QLabel(this);
    msg->setTextFormat(Qt::RichText);
    layout->addWidget(msg, row++, 0);
    setStatusMsg(QString());

    if (options_params) {
        Kv* kv = nullptr;
        if (kvread(options_file, &kv) < 0) {
            hl_register_error(0, "VXKvOptionsDialog::makeFrame: kvread(%s) error\n", options_file);
            throw "Exception";
        }
        const int rc = tv->configure(kv);
        kvfree(kv);
        if (rc < 0)
            setStatusMsg(QStringLiteral("<font color=\"red\">%1</font>").arg(takeRegister().toHtmlEscaped()));
    }

    if (!free_hlkv) {
        // a document of the caller's tells nothing itself: report from the model
        connect(tv->vxmodel, &QAbstractItemModel::dataChanged, this, [this](const QModelIndex& index) {
            const VXKvTreeviewItem* item = tv->vxmodel->itemOf(index);
            if (item->itemKvIndex < 0)
                return;
            const HLKv_Entry* e = hlkv->entry(item->itemKvIndex);
            const std::string value = item->refused ? item->candidate.toStdString() : e->value;
            std::string message = item->refused ? item->refusal.toStdString() : std::string();
            const QString head = attempt(e->name.empty() ? e->key : e->name, value);
            setStatusMsg(message.empty() ? QStringLiteral("<font color=\"black\">%1Ok</font>").arg(head)
                                         : QStringLiteral("<font color=\"black\">%1</font><font color=\"red\">%2</font>")
                                               .arg(head, QString::fromStdString(message).toHtmlEscaped()));
        });
    }

    if (!show_controls)
        return;
    connect(expand_button, &QPushButton::clicked, tv, &QTreeView::expandAll);
    connect(collapse_button, &QPushButton::clicked, tv, &QTreeView::collapseAll);
    connect(save_button, &QPushButton::clicked, this, [this] {
        const QString path = QFileDialog::getSaveFileName(this, tr("Save as"), QStringLiteral("."));
        if (!path.isEmpty())
            saveAs(path);
    });
    connect(options_button, &QPushButton::clicked, this, [this] {
        if (VXoptions* o = optionsDialog()) {
            o->show();
            o->raise();
        }
    });
    allow_value_edits_check->setChecked(tv->params.allow_value_edits);
    noninline_comments_check->setChecked(tv->params.show_noninline_comments);
    comments_check->setChecked(tv->params.show_comments);
    constraints_check->setChecked(tv->params.show_constraints);
    sources_check->setChecked(tv->params.show_sources);
    // the value is the box's state as 0 or 1; "show_nonline_comments" is
    // not a key of the tree, so that box changes nothing
    const std::pair<QCheckBox*, const char*> keys[] = {
        {allow_value_edits_check, "allow_value_edits"}, {noninline_comments_check, "show_nonline_comments"},
        {comments_check, "show_comments"},             {constraints_check, "show_constraints"},
        {sources_check, "show_sources"}};
    for (const auto& [box, key] : keys) {
        connect(box, &QCheckBox::toggled, this, [this, key = key](bool on) {
            const int before = hl_error_count();
            if (tv->configure(key, QByteArray::number(on ? 1 : 0).constData(), nullptr) < 0 && before == 0)
                hl_clear_register(0);
        });
    }
}

void VXKvOptionsDialog::setStatusMsg(const QString& text)
{
    if (msg)
        msg->setText(QStringLiteral("   Status: ") + text);
}

QString VXKvOptionsDialog::statusMsg() const
{
    return msg ? msg->text() : QString();
}

int VXKvOptionsDialog::saveAs(const QString& path)
{
    const int before = hl_error_count();
    if (hlkv->write(path.toStdString()) < 0) {
        QString why = QString::fromUtf8(hl_errlog_string(0)).trimmed().section(QLatin1Char('\n'), -1);
        if (before == 0)
            hl_clear_register(0);
        hl_register_error(0, "VXKvOptionsDialog::saveAs: %s\n", why.toUtf8().constData());
        setStatusMsg(QStringLiteral("<font color=\"red\">%1</font>").arg(why.toHtmlEscaped()));
        return -1;
    }
    setStatusMsg(QStringLiteral("<font color=\"black\">Saved to '%1'</font>").arg(path.toHtmlEscaped()));
    return 0;
}

VXoptions* VXKvOptionsDialog::optionsDialog()
{
    if (options)
        return options;
    try {
        options = new VXoptions(this);
    } catch (const char*) {
        setStatusMsg(QStringLiteral("<font color=\"red\">%1</font>").arg(takeRegister().toHtmlEscaped()));
        return nullptr;
    }
    return options;
}

void VXKvOptionsDialog::reportChange(const std::string& key, int index, const std::string& value,
                                     std::string& message)
{
    // the tree checks colours and fonts with the library's parsers
    if (message.empty() && tv) {
        QString why;
        const QString candidate = QString::fromStdString(value);
        if (!tv->checkValue(index, &candidate, &why, nullptr))
            message = why.toStdString();
    }
    // on the options instance a good value goes to the tree it configures
    if (message.empty() && parent_dialog && parent_dialog->tv) {
        const int before = hl_error_count();
        if (parent_dialog->tv->configure(key.c_str(), value.c_str(), nullptr) < 0) {
            message = QString::fromUtf8(hl_errlog_string(0)).trimmed().section(QLatin1Char('\n'), -1).toStdString();
            if (before == 0)
                hl_clear_register(0);
        }
    }
    const QString head = attempt(key, value);
    if (message.empty())
        setStatusMsg(QStringLiteral("<font color=\"black\">%1Ok</font>").arg(head));
    else
        setStatusMsg(QStringLiteral("<font color=\"black\">%1</font><font color=\"red\">%2</font>")
                         .arg(head, QString::fromStdString(message).toHtmlEscaped()));
}

VXoptions::VXoptions(VXKvOptionsDialog* parent) : VXKvOptionsDialog(parent) {}
