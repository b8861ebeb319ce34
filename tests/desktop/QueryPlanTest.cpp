// Nothing that the desktop device asks of its database grows with the number of persons in it.

#include <gmock/gmock.h>
#include <set>
#include <sqlite3.h>

#include "tests/desktop/TestDevice.hpp"

namespace KavrelCrypto {
namespace {

/// Every statement that the process runs, in whichever database.
std::set<std::string> statements;

int remember(unsigned, void*, void* statement, void*) {
    statements.insert(sqlite3_sql(static_cast<sqlite3_stmt*>(statement)));
    return 0;
}

int traceNewConnection(sqlite3* database, char**, const sqlite3_api_routines*) {
    return sqlite3_trace_v2(database, SQLITE_TRACE_STMT, remember, nullptr);
}

class KeychainQueryPlans : public testing::Test {
  protected:
    KeychainQueryPlans() {
        // SQLite takes the entry point of an extension as a function of another type.
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(traceNewConnection));
        Desktop::openDevice(device.folder());
        statements.clear();
    }

    ~KeychainQueryPlans() override {
        sqlite3_reset_auto_extension();
    }

    static void useEverything() {
        makePair("p");
        pairWorks("p");
        for (const CFDictionary& query :
             {CFDictionary{{kSecClass, kSecClassKey}}, CFDictionary{{kSecClass, kSecClassGenericPassword}}}) {
            SecItemCopyMatching(query, nullptr);
        }
        SecItemDelete({{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf("p.private")}});
        SecItemDelete({{kSecClass, kSecClassKey}});
        addPassword("account", "value");
        SecItemCopyMatching(passwordQuery("account"), nullptr);
        SecItemDelete({{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, std::string("account")}});
        Desktop::setDeviceState(Desktop::deviceState());
    }

    const TestDevice device;
};

TEST_F(KeychainQueryPlans, UseAnIndexAndSortNothing) {
    useEverything();
    const std::set<std::string> asked = statements;
    int searches = 0;
    for (const std::string& statement : asked) {
        if (statement.starts_with("BEGIN") || statement.starts_with("PRAGMA")) {
            continue;
        }
        for (const std::string& line : select(device.file(), "EXPLAIN QUERY PLAN " + statement, 3)) {
            EXPECT_THAT(line, testing::AllOf(testing::StartsWith("SEARCH"), testing::HasSubstr("USING")))
                << statement;
            ++searches;
        }
    }
    EXPECT_GT(searches, 0);
}

}  // namespace
}  // namespace KavrelCrypto
