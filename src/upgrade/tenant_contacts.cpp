#include "upgrade/conversions.h"

#include "db/connection.h"

#include <string>

namespace upgrade {

namespace {

// The record type under which the suite files a tenant's contacts.
constexpr int16_t kTenantRecordType = 5;

struct ContactSource {
    // Tenant columns, "" where the record takes an empty text or a fixed one.
    const char* description;
    const char* fixedDescription;
    const char* company;
    const char* lastName;
    const char* address1;
    const char* city;
    const char* state;
    const char* zip;
    const char* phone;
    const char* notes;
};

// The three sets of details an old tenant kept in its own columns. The
// misspelt "PrevVDiscrepency" is the column's real name.
constexpr ContactSource kContactSources[] = {
    {"PermRelationship", "", "", "PermContact", "PermAddress", "PermCity", "PermState", "PermZip",
     "PermPhone", ""},
    {"", "Previous Address", "", "PrevContact", "PrevAddress", "PrevCity", "PrevState", "PrevZip",
     "PrevPhone", "PrevVDiscrepency"},
    {"", "Employer", "EmpName", "", "EmpAddress", "EmpCity", "EmpState", "EmpZip", "EmpPhone",
     "EmpPosition"},
};

// A column the old tenant table lacks held nothing, so it reads as empty.
db::Value FromTenant(const db::Recordset& tenant, const char* column) {
    if (*column == '\0' || tenant.FieldIndex(column) < 0)
        return db::Value(std::string());
    return tenant.Field(std::string_view(column));
}

// A tenant table without any of the old detail columns has been converted
// already (a database whose version file says older than it is); contacts
// made from it would be empty copies.
bool HasOldDetails(const db::Recordset& tenants) {
    for (const auto& src : kContactSources) {
        for (const char* column : {src.description, src.company, src.lastName, src.address1,
                                   src.city, src.state, src.zip, src.phone, src.notes}) {
            if (*column != '\0' && tenants.FieldIndex(column) >= 0)
                return true;
        }
    }
    return false;
}

} // namespace

int32_t ConvertTenantContacts(db::Connection& connection, const platform::Clock& clock) {
    db::Recordset tenants;
    if (db::OpenRecordset("SELECT * FROM Tenant", tenants, connection, false) <= 0 ||
        !HasOldDetails(tenants)) {
        db::CloseRecordset(tenants);
        return 0;
    }
    db::Recordset contacts;
    contacts.OpenTable(connection, "Contact");
    int32_t written = 0;
    for (; !tenants.IsEOF(); tenants.MoveNext()) {
        const db::Value idTenant = tenants.Field("IdTenant");
        for (const auto& src : kContactSources) {
            contacts.AddNew();
            contacts.SetField("IdContact", db::NextId(connection, clock));
            contacts.SetField("IdRelated", idTenant);
            contacts.SetField("dbType", kTenantRecordType);
            contacts.SetField("IconFlag", 0);
            contacts.SetField("Description", *src.fixedDescription
                                                 ? db::Value(src.fixedDescription)
                                                 : FromTenant(tenants, src.description));
            contacts.SetField("Company", FromTenant(tenants, src.company));
            contacts.SetField("LastName", FromTenant(tenants, src.lastName));
            contacts.SetField("FirstName", "");
            contacts.SetField("Address1", FromTenant(tenants, src.address1));
            contacts.SetField("Address2", "");
            contacts.SetField("City", FromTenant(tenants, src.city));
            contacts.SetField("State", FromTenant(tenants, src.state));
            contacts.SetField("Zip", FromTenant(tenants, src.zip));
            contacts.SetField("Phone", FromTenant(tenants, src.phone));
            contacts.SetField("Mobile", "");
            contacts.SetField("FAX", "");
            contacts.SetField("Email", "");
            contacts.SetField("Web", "");
            contacts.SetField("Notes", FromTenant(tenants, src.notes));
            contacts.Update();
            ++written;
        }
    }
    contacts.Close();
    db::CloseRecordset(tenants);
    return written;
}

} // namespace upgrade
