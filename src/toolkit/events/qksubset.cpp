// Selecting rows of the database by a record store expression.
#include "toolkit/events/qkclient.h"

#include "toolkit/base/errors.h"

#include <memory>

namespace {

struct ExprDeleter
{
    void operator()(RsExpr* e) const { rsex_free(e); }
};
using ExprPtr = std::unique_ptr<RsExpr, ExprDeleter>;

// Compile expression for rows of db's table; it must give a truth value.
int compileTruth(Rsptr db, const char* expression, ExprPtr* out, const char* caller)
{
    RsExpr* e = nullptr;
    if (rsex_compile(db, expression, &e) < 0) {
        hl_register_error(0, "%s: Cannot compile '%s'.\n", caller, expression);
        return -1;
    }
    out->reset(e);
    if (rsex_kind(e) != RSEX_BOOLEAN) {
        hl_register_error(0, "%s: '%s' is not a condition.\n", caller, expression);
        return -1;
    }
    return 0;
}

} // namespace

int QKClient::rsmatches(Rsptr db, const char* expression)
{
    if (!expression || !*expression) {
        hl_register_error(0, "QKClient::rsmatches: No expression.\n");
        return -1;
    }
    ExprPtr expr;
    if (compileTruth(db, expression, &expr, "QKClient::rsmatches") < 0)
        return -1;
    Rsvalue value;
    if (rsex_eval(db, expr.get(), RSEX_BOOLEAN, &value) < 0) {
        hl_register_error(0, "QKClient::rsmatches: Cannot evaluate '%s'.\n", expression);
        return -1;
    }
    return value.i ? 1 : 0;
}

Table<QKTableRecord> QKClient::rssubset(const char* table, const char* expression, int* status)
{
    Table<QKTableRecord> out;
    int dummy;
    int& st = status ? *status : dummy;
    st = -1;
    if (!table) {
        hl_register_error(0, "QKClient::rssubset: No table.\n");
        return out;
    }
    Rsptr t;
    if (freshTable(table, &t, "QKClient::rssubset") < 0)
        return out;
    long first = 0, last = 0;
    if (rsget_range(t, &first, &last) < 0) {
        hl_register_error(0, "QKClient::rssubset: Cannot count the rows of %s.\n", table);
        return out;
    }
    ExprPtr expr;
    const bool all = !expression || !*expression;
    if (!all && compileTruth(t, expression, &expr, "QKClient::rssubset") < 0)
        return out;
    char buffer[RS_STRSZ];
    for (long r = first; r < last; r++) {
        Rsptr row = t;
        row.field = RS_ALL;
        row.record = r;
        if (!all) {
            Rsvalue value;
            if (rsex_eval(row, expr.get(), RSEX_BOOLEAN, &value) < 0) {
                hl_register_error(0, "QKClient::rssubset: Cannot evaluate '%s' on row %ld of %s.\n", expression,
                                  r, table);
                return Table<QKTableRecord>();
            }
            if (!value.i)
                continue;
        }
        if (rsget(row, buffer) < 0) {
            hl_register_error(0, "QKClient::rssubset: Cannot read row %ld of %s.\n", r, table);
            return Table<QKTableRecord>();
        }
        out.push(QKTableRecord{r, std::string(buffer)});
    }
    st = 0;
    return out;
}
