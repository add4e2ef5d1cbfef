#include "config/store.h"

#include <cerrno>

#include "config/change_log.h"
#include "config/transaction.h"

namespace tarn::host {
namespace {

std::string_view textOf(const ConfConfigOmKey& key) {
    return key.text;
}

std::string_view textOf(const ConfConfigOmValue& value) {
    return value.text;
}

// EBADMSG for a text that no client can have written; the value is then untouched.
int copyOut(std::string_view text, ConfConfigOmValue& value) {
    if (text.size() >= sizeof value.text) {
        return EBADMSG;
    }
    text.copy(value.text, text.size());
    value.text[text.size()] = '\0';
    value.length = static_cast<uint32_t>(text.size());
    return 0;
}

int readOne(Database& database, std::string_view key, ConfConfigOmValue& value) {
    Execution get(database, Query::Get);
    get.bind(key);
    if (!get.next()) {
        return get.error() != 0 ? get.error() : ENOENT;
    }
    const std::string_view held = get.text(0);
    return held.data() == nullptr ? ENOENT : copyOut(held, value);
}

int putOne(Database& database, const ConfConfigOmRecord& record, int64_t start, std::string& packed) {
    const std::string_view key = textOf(record.key);
    const std::string_view value = textOf(record.value);
    Execution put(database, Query::Put);
    put.bind(key).bind(value).bind(start + 1).next();
    if (put.error() == 0 && database.changedRows() > 0) {
        packChange(packed, key, value);
    }
    return put.error();
}

} // namespace

int Store::connect() {
    return connection_.read([](Database& /*database*/) { return 0; });
}

int Store::get(std::string_view key, ConfConfigOmValue& value) {
    return connection_.read([&](Database& database) { return readOne(database, key, value); });
}

int Store::getAll(std::span<ConfConfigOmRecord> records) {
    return connection_.read([&](Database& database) {
        int error = database.run(Query::Begin);
        if (error != 0) {
            return error;
        }
        Transaction transaction(database);
        for (ConfConfigOmRecord& record : records) {
            error = readOne(database, textOf(record.key), record.value);
            if (error == ENOENT) {
                error = copyOut("", record.value);
            }
            if (error != 0) {
                return error;
            }
        }
        return transaction.commit();
    });
}

int Store::putAll(std::span<const ConfConfigOmRecord> records) {
    return connection_.write([&](Database& database, int64_t start, std::string& packed) {
        for (const ConfConfigOmRecord& record : records) {
            const int error = putOne(database, record, start, packed);
            if (error != 0) {
                return error;
            }
        }
        return 0;
    });
}

int Store::remove(std::string_view key) {
    return connection_.write([&](Database& database, int64_t start, std::string& packed) {
        Execution removal(database, Query::Remove);
        removal.bind(key).bind(start + 1).next();
        if (removal.error() != 0) {
            return removal.error();
        }
        if (database.changedRows() == 0) {
            return ENOENT;
        }
        packChange(packed, key, std::nullopt);
        return 0;
    });
}

int Store::list(std::string_view prefix, std::vector<ConfigChange>& items) {
    return connection_.read([&](Database& database) {
        items.clear();
        Execution list(database, Query::List);
        list.bind(prefix);
        while (list.next() && list.text(0).starts_with(prefix)) {
            if (list.text(1).data() != nullptr) {
                items.push_back(makeChange(list.text(0), list.text(1), 0));
            }
        }
        return list.error();
    });
}

int Store::end(LogPosition& position) {
    return connection_.read([&](Database& database) {
        position.file = database.fileNumber();
        return readEnd(database, position.offset);
    });
}

int Store::next(LogPosition& position, std::vector<ConfigChange>& changes, bool& isWhole) {
    return connection_.read([&](Database& database) {
        const int begun = database.run(Query::Begin);
        if (begun != 0) {
            return begun;
        }
        Transaction transaction(database);
        changes.clear();
        LogPosition reached = position;
        int64_t start = 0;
        int64_t end = 0;
        int error = readEnd(database, end);
        if (error == 0) {
            error = readNext(database, reached.offset, start, changes);
        }
        if (error != 0) {
            return error;
        }
        isWhole = position.file == database.fileNumber() && start == position.offset && reached.offset <= end;
        if (!isWhole) {
            changes.clear();
            const bool isOtherFile = position.file != database.fileNumber() || position.offset > end;
            error = readSince(database, isOtherFile ? 0 : position.offset, changes);
            reached = {database.fileNumber(), end};
        }
        if (error == 0) {
            error = transaction.commit();
        }
        if (error == 0) {
            position = reached;
        }
        return error;
    });
}

} // namespace tarn::host
