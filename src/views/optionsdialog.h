// VXKvOptionsDialog: a top-level window for editing a parameter file.
//
// A parameter tree view (VXKvTreeview) with, when show_controls is set, a
// row of buttons ("Expand all", "Collapse all", "Save as...", "Options...")
// and check boxes ("Allow value edits", "Show non-inline comments", "Show
// comments", "Show constraints", "Show source") above it, and a status line
// below.  Every attempted change of a value is reported on the status line.
//
// "Options..." opens a second instance (VXoptions) on the dialog's own
// options, the parameter file "optionsdialog": its keys are the tree view's
// configuration keys, they configure that instance's own tree when it
// opens, and a value changed there is applied to this dialog's tree.
//
// The check box "Show non-inline comments" sets the key
// "show_nonline_comments", which the tree does not know: it has no effect.
// That is how the dialog has always behaved and how it stays.
//
// The window is a plain parentless QFrame: the server's top-level window
// class sits above the views.
#pragma once

#include "toolkit/params/hlkv.h"
#include "vxplot_export.h"

#include <QFrame>
#include <QString>

class QCheckBox;
class QGridLayout;
class QLabel;
class QPushButton;
class VXKvTreeview;
class VXoptions;

class VXPLOT_EXPORT VXKvOptionsDialog : public QFrame
{
    Q_OBJECT
public:
    // The document read from the parameter file kv_name (owned), or kv
    // (the caller's).  With options_params the dialog shows its own options
    // file "optionsdialog" instead.  Throws "Exception" after registering
    // the reason.
    VXKvOptionsDialog(const QString& kv_name, int show_controls, int options_params);
    VXKvOptionsDialog(HLKv* kv, int show_controls, int options_params);
    ~VXKvOptionsDialog() override;

    // The status line's text after "   Status: " (rich text).
    void setStatusMsg(const QString& msg);
    QString statusMsg() const;

    // Write the document to path; the status line tells the outcome.  0 or
    // negative (with the reason registered).
    int saveAs(const QString& path);
    // The options instance, made on first use; null when it cannot be made
    // (the status line says why).
    VXoptions* optionsDialog();

    // A document that reports each change to the dialog's status line.
    class OptionsHLKv : public HLKv
    {
    public:
        OptionsHLKv(const std::string& name, VXKvOptionsDialog* od);
        void valueChangedCallback(const std::string& key, int index, const std::string& value,
                                  std::string& message) override;
        VXKvOptionsDialog* od;
    };

    VXKvTreeview* tv = nullptr;
    VXKvOptionsDialog* parent_dialog = nullptr;  // set on the options instance
    int show_controls = 1;
    int options_params = 0;
    int free_hlkv = 0;           // the dialog owns hlkv
    QLabel* msg = nullptr;
    QGridLayout* layout = nullptr;
    HLKv* hlkv = nullptr;
    VXoptions* options = nullptr;

    QPushButton* expand_button = nullptr;
    QPushButton* collapse_button = nullptr;
    QPushButton* save_button = nullptr;
    QPushButton* options_button = nullptr;
    QCheckBox* allow_value_edits_check = nullptr;
    QCheckBox* noninline_comments_check = nullptr;
    QCheckBox* comments_check = nullptr;
    QCheckBox* constraints_check = nullptr;
    QCheckBox* sources_check = nullptr;

protected:
    // For VXoptions: the dialog of parent's options.
    explicit VXKvOptionsDialog(VXKvOptionsDialog* parent);

private:
    void init(const QString& kv_name, HLKv* kv);
    void makeFrame();
    void construct(const QString& kv_name, HLKv* kv);
    // Report a change of document to the status line (and, on the options
    // instance, apply it to the parent's tree).
    void reportChange(const std::string& key, int index, const std::string& value, std::string& message);
};

// The second instance: the dialog of a dialog's options.
class VXPLOT_EXPORT VXoptions : public VXKvOptionsDialog
{
    Q_OBJECT
public:
    explicit VXoptions(VXKvOptionsDialog* parent);
};
