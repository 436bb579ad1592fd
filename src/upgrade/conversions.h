#pragma once
// The migrations that are not single statements: records that must be built
// one by one. They throw db::Error when the database refuses them; the
// migration runner catches.

#include "platform/clock.h"

#include <cstdint>

namespace db {
class Connection;
}

namespace upgrade {

// Each tenant's permanent, previous and employer details, kept until now in
// the tenant's own columns, become three Contact records linked to it, each
// with a fresh record number. Returns the number of records written.
int32_t ConvertTenantContacts(db::Connection& connection, const platform::Clock& clock);

// Fills each mortgage's new summary columns from its old columns and from
// the schedule stored in its Amortization text. Each record is saved as the
// walk moves on. Returns the number converted.
int32_t RecalculateMortgages(db::Connection& connection);

// The two conversions as an upgrade runs them. A caller may pass its own, to
// time them apart from the statements (they are the part computed here).
class RecordConversions {
public:
    virtual ~RecordConversions() = default;
    virtual int32_t TenantContacts(db::Connection& connection, const platform::Clock& clock) {
        return ConvertTenantContacts(connection, clock);
    }
    virtual int32_t Mortgages(db::Connection& connection) {
        return RecalculateMortgages(connection);
    }
};

} // namespace upgrade
