// A transaction of the configuration's database.
#pragma once

#include "config/database.h"

namespace tarn::host {

// Ends the transaction of an operation that failed.
class Transaction {
 public:
    explicit Transaction(Database& database) : database_(database) {}
    ~Transaction() {
        if (isOpen_) {
            database_.run(Query::Rollback);
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction(Transaction&&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    Transaction& operator=(Transaction&&) = delete;

    int commit() {
        const int error = database_.run(Query::Commit);
        isOpen_ = error != 0;
        return error;
    }

 private:
    Database& database_;
    bool isOpen_ = true;
};

} // namespace tarn::host
