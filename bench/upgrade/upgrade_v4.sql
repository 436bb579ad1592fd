-- The upgrade of the benchmark's version-4 database written by hand for the
-- sqlite3 shell: the yardstick that upgrade_bench holds Ostrand's upgrade
-- against. It makes the same structural changes and does the work of the
-- same migration statements, on the same copy of the database, the way one
-- would by hand: every changed table is written once (new table, one
-- INSERT ... SELECT carrying the conversions, drop, rename) and the indexes
-- are built once, all in one transaction per part.
--
-- It knows what that database holds: where its NULLs may be (every column
-- that the upgrade's clean-up repairs is read through IFNULL, which leaves
-- a value that is there as it is) and which tables the upgrade creates.
--
-- The record conversions computed in code (tenant contacts, mortgages) and
-- the configuration defaults are not SQL: the benchmark runs the first part
-- below, then those conversions, then the second part, then the defaults.
-- The line "-- @conversions" divides the parts.

BEGIN;

-- The old indexes go first: every changed table is written anew, and the
-- indexes are built once at the end.
DROP INDEX "Account.IdAccount";
DROP INDEX "Analysis.IdAnalysis";
DROP INDEX "Analysis.IdProperty";
DROP INDEX "Appliance.IdAppliance";
DROP INDEX "Appliance.IdProperty";
DROP INDEX "AutoEvent.IdAutoEvent";
DROP INDEX "AutoEvent.IdProperty";
DROP INDEX "Building.IdBuilding";
DROP INDEX "Content.IdContent";
DROP INDEX "Content.IdProperty";
DROP INDEX "Doc.IdDoc";
DROP INDEX "Incident.IdIncident";
DROP INDEX "Incident.IdTenant";
DROP INDEX "Lease.IdLease";
DROP INDEX "Lease.IdProperty";
DROP INDEX "Lease.IdTenant";
DROP INDEX "ManagerLink.IdAccount";
DROP INDEX "ManagerLink.IdManagerLink";
DROP INDEX "ManagerLink.IdProperty";
DROP INDEX "Mileage.IdMileage";
DROP INDEX "Mileage.IdProperty";
DROP INDEX "Mortgage.IdAccount";
DROP INDEX "Mortgage.IdMortgage";
DROP INDEX "Mortgage.IdProperty";
DROP INDEX "MortgageLog.IdMortgage";
DROP INDEX "MortgageLog.IdMortgageLog";
DROP INDEX "OwnerLink.IdAccount";
DROP INDEX "OwnerLink.IdOwnerLink";
DROP INDEX "OwnerLink.IdProperty";
DROP INDEX "Property.IdProperty";
DROP INDEX "Reminder.IdReminder";
DROP INDEX "RentLog.IdLease";
DROP INDEX "RentLog.IdRentLog";
DROP INDEX "Room.IdProperty";
DROP INDEX "Room.IdRoom";
DROP INDEX "SvcContract.IdProperty";
DROP INDEX "SvcContract.IdSvcContract";
DROP INDEX "Tenant.IdTenant";
DROP INDEX "TransCategory.Category";
DROP INDEX "Transactions.IdAccount";
DROP INDEX "Transactions.IdProperty";
DROP INDEX "Transactions.IdTransaction";
DROP INDEX "Users.IdUser";
DROP INDEX "Vendor.IdVendor";
DROP INDEX "WOItem.IdWOItem";
DROP INDEX "WOItem.IdWorkOrder";
DROP INDEX "WorkOrder.IdProperty";
DROP INDEX "WorkOrder.IdWorkOrder";

-- Tables the old version did not have.
CREATE TABLE Activity (
    IdActivity INTEGER, dbType INTEGER, IdRelated INTEGER, IdUser INTEGER, ActivityDate DATETIME,
    Description VARCHAR(100), Notes MEMO TEXT);
CREATE TABLE Alert (
    IdAlert INTEGER, dbType INTEGER, IdRelated INTEGER, AlertDate DATETIME,
    Description VARCHAR(100), Done BOOLEAN NOT NULL DEFAULT 0);
CREATE TABLE Contact (
    IdContact INTEGER, IdRelated INTEGER, dbType INTEGER, IconFlag INTEGER, Description VARCHAR(50),
    Company VARCHAR(50), LastName VARCHAR(50), FirstName VARCHAR(50), Address1 VARCHAR(50),
    Address2 VARCHAR(50), City VARCHAR(30), State VARCHAR(20), Zip VARCHAR(10), Phone VARCHAR(20),
    Mobile VARCHAR(20), FAX VARCHAR(20), Email VARCHAR(60), Web VARCHAR(100), Notes MEMO TEXT);
CREATE TABLE Deposit (
    IdDeposit INTEGER, IdLease INTEGER, IdAccount INTEGER, DepositDate DATETIME,
    Description VARCHAR(50), Amount CURRENCY, Refunded BOOLEAN NOT NULL DEFAULT 0);
CREATE TABLE FileObject (
    IdFileObject INTEGER, dbType INTEGER, IdOwner INTEGER, Description VARCHAR(100),
    FileName VARCHAR(255), FileDate DATETIME);
CREATE TABLE Invoice (
    IdInvoice INTEGER, IdVendor INTEGER, IdWorkOrder INTEGER, InvoiceNumber VARCHAR(20),
    InvoiceDate DATETIME, Amount CURRENCY, Paid BOOLEAN NOT NULL DEFAULT 0, Notes MEMO TEXT);
CREATE TABLE Unit (
    IdUnit INTEGER, IdBuilding INTEGER, Unit VARCHAR(20), Status VARCHAR(20), Faces VARCHAR(20),
    Smoke BOOLEAN NOT NULL DEFAULT 0, Bedrooms INTEGER, Bathrooms DOUBLE,
    Split BOOLEAN NOT NULL DEFAULT 0, Garage VARCHAR(20), WDHookup BOOLEAN NOT NULL DEFAULT 0,
    Fireplace BOOLEAN NOT NULL DEFAULT 0, SqFt INTEGER, Rent CURRENCY, DepositDamage CURRENCY,
    DepositClean CURRENCY, DepositPet CURRENCY, DepositKey CURRENCY, DepositOther1 CURRENCY,
    DepositOther2 CURRENCY, KeyType VARCHAR(20), KeyCode VARCHAR(20),
    SecTenant BOOLEAN NOT NULL DEFAULT 0, Ad MEMO TEXT, Hide BOOLEAN NOT NULL DEFAULT 0,
    Notes MEMO TEXT);
CREATE TABLE WOHistory (
    IdWOHistory INTEGER, IdWorkOrder INTEGER, EntryDate DATETIME, Status VARCHAR(20),
    IdUser INTEGER, Notes MEMO TEXT);

-- Each old property becomes a building and a unit with its identifier; its
-- NULLs are cleared first, as the upgrade clears them before the copies.
UPDATE Property SET
    IdProperty = IFNULL(IdProperty, 0), PropType = IFNULL(PropType, ''),
    Address = IFNULL(Address, ''), City = IFNULL(City, ''), County = IFNULL(County, ''),
    State = IFNULL(State, ''), Zip = IFNULL(Zip, ''), Legal = IFNULL(Legal, ''),
    ParcelID = IFNULL(ParcelID, ''), YearBuilt = IFNULL(YearBuilt, 0), Zoning = IFNULL(Zoning, ''),
    PropDesc = IFNULL(PropDesc, ''), Region = IFNULL(Region, ''),
    Construction = IFNULL(Construction, ''), StoryHeight = IFNULL(StoryHeight, 0),
    LotShape = IFNULL(LotShape, ''), LotSize = IFNULL(LotSize, ''), KeyType = IFNULL(KeyType, ''),
    KeyCode = IFNULL(KeyCode, ''), Pool = IFNULL(Pool, 0), Fence = IFNULL(Fence, 0),
    LawnIrrigation = IFNULL(LawnIrrigation, 0), Shed = IFNULL(Shed, 0), Deck = IFNULL(Deck, 0),
    Waterfront = IFNULL(Waterfront, 0), Notes = IFNULL(Notes, ''),
    WaterSource = IFNULL(WaterSource, ''), GasAvaliable = IFNULL(GasAvaliable, 0),
    DeprBasis = IFNULL(DeprBasis, 0), DeprTerm = IFNULL(DeprTerm, 0),
    DeprMethod = IFNULL(DeprMethod, ''), Unit = IFNULL(Unit, ''), Status = IFNULL(Status, ''),
    Faces = IFNULL(Faces, ''), Smoke = IFNULL(Smoke, 0), Bedrooms = IFNULL(Bedrooms, 0),
    Bathrooms = IFNULL(Bathrooms, 0), Split = IFNULL(Split, 0), Garage = IFNULL(Garage, ''),
    WDHookup = IFNULL(WDHookup, 0), Fireplace = IFNULL(Fireplace, 0), SqFt = IFNULL(SqFt, 0),
    Rent = IFNULL(Rent, 0), DepositDamage = IFNULL(DepositDamage, 0),
    DepositClean = IFNULL(DepositClean, 0), DepositPet = IFNULL(DepositPet, 0),
    DepositKey = IFNULL(DepositKey, 0), DepositOther1 = IFNULL(DepositOther1, 0),
    DepositOther2 = IFNULL(DepositOther2, 0), SecTenant = IFNULL(SecTenant, 0), Ad = IFNULL(Ad, '');
DROP TABLE Building; -- it held no rows in this version
CREATE TABLE Building (
    IdBuilding INTEGER, PropType VARCHAR(30), Address VARCHAR(50), City VARCHAR(30),
    County VARCHAR(30), State VARCHAR(20), Zip VARCHAR(10), Legal MEMO TEXT, ParcelID VARCHAR(30),
    YearBuilt INTEGER, Zoning VARCHAR(20), PropDesc MEMO TEXT, Region VARCHAR(30),
    Construction VARCHAR(30), StoryHeight INTEGER, LotShape VARCHAR(30), LotSize VARCHAR(30),
    KeyType VARCHAR(20), KeyCode VARCHAR(20), Pool BOOLEAN NOT NULL DEFAULT 0,
    Fence BOOLEAN NOT NULL DEFAULT 0, LawnIrrigation BOOLEAN NOT NULL DEFAULT 0,
    Shed BOOLEAN NOT NULL DEFAULT 0, Deck BOOLEAN NOT NULL DEFAULT 0,
    Waterfront BOOLEAN NOT NULL DEFAULT 0, Notes MEMO TEXT, WaterSource VARCHAR(30),
    GasAvaliable BOOLEAN NOT NULL DEFAULT 0, PurchDate DATETIME, SaleDate DATETIME,
    DeprBasis CURRENCY, DeprMethod VARCHAR(20), Name VARCHAR(50), Status VARCHAR(20),
    Multi BOOLEAN NOT NULL DEFAULT 0, Distance DOUBLE, PurchPrice CURRENCY,
    PurchTitleIns BOOLEAN NOT NULL DEFAULT 0, SalePrice CURRENCY,
    SaleTitleIns BOOLEAN NOT NULL DEFAULT 0, DeprPeriod INTEGER, InsCompany VARCHAR(50),
    InsPolicy VARCHAR(30), InsPremium CURRENCY, InsNextDue DATETIME,
    InsFlood BOOLEAN NOT NULL DEFAULT 0, HOAName VARCHAR(50), HOADues CURRENCY, HOANextDue DATETIME,
    HOAAutoInc BOOLEAN NOT NULL DEFAULT 0, Hide BOOLEAN NOT NULL DEFAULT 0);
INSERT INTO Building (
    IdBuilding, PropType, Address, City, County, State, Zip, Legal, ParcelID, YearBuilt, Zoning,
    PropDesc, Region, Construction, StoryHeight, LotShape, LotSize, KeyType, KeyCode, Pool, Fence,
    LawnIrrigation, Shed, Deck, Waterfront, Notes, WaterSource, GasAvaliable, PurchDate, SaleDate,
    DeprBasis, DeprMethod, Name, Status, Multi, Distance, PurchPrice, PurchTitleIns, SalePrice,
    SaleTitleIns, DeprPeriod, InsCompany, InsPolicy, InsPremium, InsFlood, HOAName, HOADues,
    HOAAutoInc, Hide, InsNextDue, HOANextDue)
  SELECT
    IdProperty, PropType, Address, City, County, State, Zip, Legal, ParcelID, YearBuilt, Zoning,
    PropDesc, Region, Construction, StoryHeight, LotShape, LotSize, KeyType, KeyCode, Pool, Fence,
    LawnIrrigation, Shed, Deck, Waterfront, Notes, WaterSource, GasAvaliable, PurchDate, SaleDate,
    DeprBasis, DeprMethod, '', 'Owned', 0, 0, 0, 0, 0, 0, DeprTerm, '', '', 0, 0, '', 0, 0, 0,
    '', ''
  FROM Property;
INSERT INTO Unit (
    IdUnit, Unit, Status, Faces, Smoke, Bedrooms, Bathrooms, Split, Garage, WDHookup, Fireplace,
    SqFt, Rent, DepositDamage, DepositClean, DepositPet, DepositKey, DepositOther1, DepositOther2,
    KeyType, KeyCode, SecTenant, Ad, Notes, IdBuilding, Hide)
  SELECT
    IdProperty, Unit, Status, Faces, Smoke, Bedrooms, Bathrooms, Split, Garage, WDHookup, Fireplace,
    SqFt, Rent, DepositDamage, DepositClean, DepositPet, DepositKey, DepositOther1, DepositOther2,
    KeyType, KeyCode, SecTenant, Ad, Notes, IdProperty, 0
  FROM Property;
DROP TABLE Property;

-- What the record conversions read and write: the tenants' contact details
-- without NULLs, and the new columns of the mortgages.
UPDATE Tenant SET
    PermRelationship = IFNULL(PermRelationship, ''), PermContact = IFNULL(PermContact, ''),
    PermAddress = IFNULL(PermAddress, ''), PermCity = IFNULL(PermCity, ''),
    PermState = IFNULL(PermState, ''), PermZip = IFNULL(PermZip, ''),
    PermPhone = IFNULL(PermPhone, ''), PrevContact = IFNULL(PrevContact, ''),
    PrevAddress = IFNULL(PrevAddress, ''), PrevCity = IFNULL(PrevCity, ''),
    PrevState = IFNULL(PrevState, ''), PrevZip = IFNULL(PrevZip, ''),
    PrevPhone = IFNULL(PrevPhone, ''), PrevVDiscrepency = IFNULL(PrevVDiscrepency, ''),
    EmpName = IFNULL(EmpName, ''), EmpAddress = IFNULL(EmpAddress, ''),
    EmpCity = IFNULL(EmpCity, ''), EmpState = IFNULL(EmpState, ''), EmpZip = IFNULL(EmpZip, ''),
    EmpPhone = IFNULL(EmpPhone, ''), EmpPosition = IFNULL(EmpPosition, '');
ALTER TABLE Mortgage ADD COLUMN IdBuilding INTEGER;
ALTER TABLE Mortgage ADD COLUMN AccountNumber VARCHAR(50);
ALTER TABLE Mortgage ADD COLUMN OrigPV DOUBLE;
ALTER TABLE Mortgage ADD COLUMN OrigPer DOUBLE;
ALTER TABLE Mortgage ADD COLUMN OrigRate DOUBLE;
ALTER TABLE Mortgage ADD COLUMN OrigPmt DOUBLE;
ALTER TABLE Mortgage ADD COLUMN IntOnly BOOLEAN NOT NULL DEFAULT 0;
ALTER TABLE Mortgage ADD COLUMN FirstDue VARCHAR(10);
ALTER TABLE Mortgage ADD COLUMN BalloonMtg BOOLEAN NOT NULL DEFAULT 0;
ALTER TABLE Mortgage ADD COLUMN BalloonPer INTEGER;
ALTER TABLE Mortgage ADD COLUMN BalloonPmt DOUBLE;
ALTER TABLE Mortgage ADD COLUMN PPM BOOLEAN NOT NULL DEFAULT 0;
ALTER TABLE Mortgage ADD COLUMN PPMPct DOUBLE;
ALTER TABLE Mortgage ADD COLUMN PPMTrigger DOUBLE;
ALTER TABLE Mortgage ADD COLUMN PPMPer INTEGER;
ALTER TABLE Mortgage ADD COLUMN xPri MEMO TEXT;
ALTER TABLE Mortgage ADD COLUMN xPriAll DOUBLE;
ALTER TABLE Mortgage ADD COLUMN xRate MEMO TEXT;
ALTER TABLE Mortgage ADD COLUMN ARM BOOLEAN NOT NULL DEFAULT 0;
ALTER TABLE Mortgage ADD COLUMN ARMLockedPer INTEGER;
ALTER TABLE Mortgage ADD COLUMN ARMAdjPer INTEGER;
ALTER TABLE Mortgage ADD COLUMN ARMLifeCap DOUBLE;
ALTER TABLE Mortgage ADD COLUMN ARMPerCap DOUBLE;
ALTER TABLE Mortgage ADD COLUMN CurrentPeriod INTEGER;
ALTER TABLE Mortgage ADD COLUMN CurrentPV CURRENCY;
ALTER TABLE Mortgage ADD COLUMN CurrentI CURRENCY;
ALTER TABLE Mortgage ADD COLUMN CurrentPmt CURRENCY;
ALTER TABLE Mortgage ADD COLUMN CurrentPPmt CURRENCY;
ALTER TABLE Mortgage ADD COLUMN CurrentIPmt CURRENCY;
ALTER TABLE Mortgage ADD COLUMN NextDue VARCHAR(10);
ALTER TABLE Mortgage ADD COLUMN RemainingT INTEGER;
ALTER TABLE Mortgage ADD COLUMN NextEscrowReview VARCHAR(10);
ALTER TABLE Mortgage ADD COLUMN EscrowReviewInterval INTEGER;
ALTER TABLE Mortgage ADD COLUMN EscrowReviewPeriods INTEGER;
ALTER TABLE Mortgage ADD COLUMN Hide BOOLEAN NOT NULL DEFAULT 0;
ALTER TABLE Mortgage ADD COLUMN Notes MEMO TEXT;

COMMIT;

-- @conversions

BEGIN;

-- Every other changed table once: new columns filled, the statements' work
-- done on the way, old columns left behind; each row keeps its place.

-- Account
CREATE TABLE Account_new (
    IdAccount INTEGER, AccountType VARCHAR(30), Name VARCHAR(50), AccountNumber VARCHAR(30),
    Address VARCHAR(50), City VARCHAR(30), State VARCHAR(20), Zip VARCHAR(10), Phone VARCHAR(20),
    FAX VARCHAR(20), Email VARCHAR(60), TaxIDFed VARCHAR(20), TaxIDState VARCHAR(20),
    Balance CURRENCY, Hide BOOLEAN NOT NULL DEFAULT 0, Notes MEMO TEXT);
INSERT INTO Account_new (rowid,
    IdAccount, AccountType, Name, AccountNumber, Address, City, State, Zip, Phone, FAX, Email,
    TaxIDFed, TaxIDState, Balance, Hide, Notes)
  SELECT rowid,
    IFNULL(IdAccount, 0),
    CASE IFNULL(AccountType, '') WHEN 'Property Owner' THEN 'Building Owner'
        WHEN 'Property Manager' THEN 'Building Manager' ELSE IFNULL(AccountType, '') END,
    IFNULL(Name, ''), '', '', '', '', '', '', '', '', IFNULL(TaxID, ''), '', 0, 0, ''
  FROM Account;
DROP TABLE Account;
ALTER TABLE Account_new RENAME TO Account;

-- Analysis
CREATE TABLE Analysis_new (
    IdAnalysis INTEGER, Description VARCHAR(50), IdBuilding INTEGER, AnalysisDate DATETIME,
    Price CURRENCY, Rent CURRENCY, Exp1 CURRENCY, Exp2 CURRENCY, Exp3 CURRENCY, Exp4 CURRENCY,
    Taxes CURRENCY, Insurance CURRENCY, Notes MEMO TEXT);
INSERT INTO Analysis_new (rowid,
    IdAnalysis, Description, IdBuilding, AnalysisDate, Price, Rent, Exp1, Exp2, Exp3, Exp4, Taxes,
    Insurance, Notes)
  SELECT rowid,
    IFNULL(IdAnalysis, 0), IFNULL(Description, ''), IFNULL(IdProperty, 0), '', 0, 0,
    IFNULL(ExpLandscape, 0), IFNULL(ExpTrash, 0), IFNULL(ExpPest, 0), IFNULL(ExpPool, 0), 0, 0, ''
  FROM Analysis;
DROP TABLE Analysis;
ALTER TABLE Analysis_new RENAME TO Analysis;

-- Appliance
CREATE TABLE Appliance_new (
    IdAppliance INTEGER, Description VARCHAR(50), IdUnit INTEGER, Make VARCHAR(30),
    Model VARCHAR(30), SerialNumber VARCHAR(30), PurchDate DATETIME, WarrantyEnd DATETIME,
    Cost CURRENCY, Notes MEMO TEXT);
INSERT INTO Appliance_new (rowid,
    IdAppliance, Description, IdUnit, Make, Model, SerialNumber, PurchDate, WarrantyEnd, Cost,
    Notes)
  SELECT rowid,
    IFNULL(IdAppliance, 0), IFNULL(Description, ''), IFNULL(IdProperty, 0), '', '', '', '', '',
    0, ''
  FROM Appliance;
DROP TABLE Appliance;
ALTER TABLE Appliance_new RENAME TO Appliance;

-- AutoEvent
CREATE TABLE AutoEvent_new (
    IdAutoEvent INTEGER, Description VARCHAR(50), IdBuilding INTEGER, IdUnit INTEGER,
    EventType INTEGER, NextDate DATETIME, Interval INTEGER, Periods INTEGER, Amount CURRENCY);
INSERT INTO AutoEvent_new (rowid,
    IdAutoEvent, Description, IdBuilding, IdUnit, EventType, NextDate, Interval, Periods, Amount)
  SELECT rowid,
    IFNULL(IdAutoEvent, 0), IFNULL(Description, ''), IFNULL(IdProperty, 0), IFNULL(IdProperty, 0),
    0, '', 0, 0, 0
  FROM AutoEvent;
DROP TABLE AutoEvent;
ALTER TABLE AutoEvent_new RENAME TO AutoEvent;

-- Configuration
CREATE TABLE Configuration_new (
    IdConfig INTEGER, NextId INTEGER, CompanyName VARCHAR(50), Address VARCHAR(50),
    City VARCHAR(30), State VARCHAR(20), Zip VARCHAR(10), Phone VARCHAR(20), TermType VARCHAR(20),
    Term INTEGER, DocDirectory VARCHAR(255), FAX VARCHAR(20), Mobile VARCHAR(20), Email VARCHAR(60),
    Web VARCHAR(100), TaxIDFed VARCHAR(20), TaxIDState VARCHAR(20), DefaultCounty VARCHAR(30),
    DefaultState VARCHAR(20), DefaultDepositAccount INTEGER, DefaultRentAccount INTEGER,
    DefaultMortgageAccount INTEGER, DefaultMortgagee INTEGER, ExpireOption VARCHAR(20),
    Discount CURRENCY, DiscountDays INTEGER, OneTimeFee CURRENCY, OneTimeDays INTEGER,
    DailyFee CURRENCY, DailyDays INTEGER, EvictDays INTEGER, BreakFee CURRENCY, NoticeDays INTEGER,
    ShowAllAccounts BOOLEAN NOT NULL DEFAULT 0, KeepAlerts INTEGER,
    AssociateDocs BOOLEAN NOT NULL DEFAULT 0, FileDirectory VARCHAR(255), CFAExp1 VARCHAR(30),
    CFAExp2 VARCHAR(30), CFAExp3 VARCHAR(30), CFAExp4 VARCHAR(30), NoteScoreTable VARCHAR(255),
    NoteCreditWeight DOUBLE, NoteEquityWeight DOUBLE, NoteOnTimeWeight DOUBLE,
    CFASaleExpense DOUBLE, CFADownPayment DOUBLE, CFASaleCAP DOUBLE, CFAMgmtFee DOUBLE,
    CFAExpEscalator DOUBLE, CFARentIncEscalator DOUBLE, CFAVacancyRate DOUBLE,
    EnableAdvanced BOOLEAN NOT NULL DEFAULT 0, ReceiptTemplate VARCHAR(255),
    RptIncludeGraphic BOOLEAN NOT NULL DEFAULT 0, RptGraphicPath VARCHAR(255));
INSERT INTO Configuration_new (rowid,
    IdConfig, NextId, CompanyName, Address, City, State, Zip, Phone, TermType, Term, DocDirectory,
    FAX, Mobile, Email, Web, TaxIDFed, TaxIDState, DefaultCounty, DefaultState,
    DefaultDepositAccount, DefaultRentAccount, DefaultMortgageAccount, DefaultMortgagee,
    ExpireOption, Discount, DiscountDays, OneTimeFee, OneTimeDays, DailyFee, DailyDays, EvictDays,
    BreakFee, NoticeDays, ShowAllAccounts, KeepAlerts, AssociateDocs, FileDirectory, CFAExp1,
    CFAExp2, CFAExp3, CFAExp4, NoteScoreTable, NoteCreditWeight, NoteEquityWeight, NoteOnTimeWeight,
    CFASaleExpense, CFADownPayment, CFASaleCAP, CFAMgmtFee, CFAExpEscalator, CFARentIncEscalator,
    CFAVacancyRate, EnableAdvanced, ReceiptTemplate, RptIncludeGraphic, RptGraphicPath)
  SELECT rowid,
    IFNULL(IdConfig, 0), IFNULL(NextId, 0), IFNULL(CompanyName, ''), IFNULL(Address, ''),
    IFNULL(City, ''), IFNULL(State, ''), IFNULL(Zip, ''), IFNULL(Phone, ''), IFNULL(TermType, ''),
    IFNULL(Term, 0), IFNULL(DocDirectory, ''), '', '', '', '', '', '', '', '', 0, 0,
    IFNULL(DefaultMortgagePmt, 0), 0, '', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    IFNULL(DocDirectory, ''), '', '', '', '', '', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, '', 0, ''
  FROM Configuration;
DROP TABLE Configuration;
ALTER TABLE Configuration_new RENAME TO Configuration;

-- Content
CREATE TABLE Content_new (
    IdContent INTEGER, Description VARCHAR(50), IdUnit INTEGER, Quantity INTEGER, Value CURRENCY,
    Notes MEMO TEXT);
INSERT INTO Content_new (rowid,
    IdContent, Description, IdUnit, Quantity, Value, Notes)
  SELECT rowid,
    IFNULL(IdContent, 0), IFNULL(Description, ''), IFNULL(IdProperty, 0), 0, 0, ''
  FROM Content;
DROP TABLE Content;
ALTER TABLE Content_new RENAME TO Content;

-- Doc
CREATE TABLE Doc_new (
    IdDoc INTEGER, Description VARCHAR(50), SelBuilding INTEGER, SelUnit INTEGER, SelTenant INTEGER,
    FileName VARCHAR(255), DocType INTEGER);
INSERT INTO Doc_new (rowid,
    IdDoc, Description, SelBuilding, SelUnit, SelTenant, FileName, DocType)
  SELECT rowid,
    IFNULL(IdDoc, 0), IFNULL(Description, ''), 0, IFNULL(SelProperty, 0), 0, '', 0
  FROM Doc;
DROP TABLE Doc;
ALTER TABLE Doc_new RENAME TO Doc;

-- Incident
CREATE TABLE Incident_new (
    IdIncident INTEGER, IdTenant INTEGER, Severity VARCHAR(30), Description VARCHAR(100),
    IdUnit INTEGER, IncidentDate DATETIME, Notes MEMO TEXT);
INSERT INTO Incident_new (rowid,
    IdIncident, IdTenant, Severity, Description, IdUnit, IncidentDate, Notes)
  SELECT rowid,
    IFNULL(IdIncident, 0), IFNULL(IdTenant, 0), '0 - Informational', IFNULL(Description, ''), 0,
    '', ''
  FROM Incident;
DROP TABLE Incident;
ALTER TABLE Incident_new RENAME TO Incident;

-- Lease
CREATE TABLE Lease_new (
    IdLease INTEGER, IdTenant INTEGER, StartDate DATETIME, TermType VARCHAR(20), Term INTEGER,
    Rent CURRENCY, Pets BOOLEAN NOT NULL DEFAULT 0, DepositDamage CURRENCY, DepositClean CURRENCY,
    DepositPet CURRENCY, DepositKey CURRENCY, DepositOther1 CURRENCY, DepositOther2 CURRENCY,
    IdUnit INTEGER, EndDate DATETIME, ExpireOption VARCHAR(20), DueDay INTEGER, RentAccount INTEGER,
    RentDue CURRENCY, Discount CURRENCY, DiscountDays INTEGER, OneTimeFee CURRENCY,
    OneTimeDays INTEGER, DailyFee CURRENCY, DailyDays INTEGER, EvictDays INTEGER, BreakFee CURRENCY,
    NoticeDays INTEGER, DepositTotal CURRENCY, DepositDue CURRENCY, DepositPaid CURRENCY,
    DepositRefunded CURRENCY, DepositCharged CURRENCY, DepositBalance CURRENCY,
    DepositAccount INTEGER, Subs BOOLEAN NOT NULL DEFAULT 0, SubsAmt CURRENCY, SubsDue CURRENCY,
    SubsidyType INTEGER, SubsidyId INTEGER, Hide BOOLEAN NOT NULL DEFAULT 0, Notes MEMO TEXT);
INSERT INTO Lease_new (rowid,
    IdLease, IdTenant, StartDate, TermType, Term, Rent, Pets, DepositDamage, DepositClean,
    DepositPet, DepositKey, DepositOther1, DepositOther2, IdUnit, EndDate, ExpireOption, DueDay,
    RentAccount, RentDue, Discount, DiscountDays, OneTimeFee, OneTimeDays, DailyFee, DailyDays,
    EvictDays, BreakFee, NoticeDays, DepositTotal, DepositDue, DepositPaid, DepositRefunded,
    DepositCharged, DepositBalance, DepositAccount, Subs, SubsAmt, SubsDue, SubsidyType, SubsidyId,
    Hide, Notes)
  SELECT rowid,
    IFNULL(IdLease, 0), IFNULL(IdTenant, 0), StartDate,
    CASE IFNULL(TermType, '') WHEN 'Weekly' THEN 'Week(s)' WHEN 'Monthly' THEN 'Month(s)'
        WHEN 'Yearly' THEN 'Year(s)' ELSE IFNULL(TermType, '') END,
    IFNULL(Term, 0), IFNULL(Rent, 0), IFNULL(Pets, 0), IFNULL(DepositDamage, 0),
    IFNULL(DepositClean, 0), IFNULL(DepositPet, 0), IFNULL(DepositKey, 0), IFNULL(DepositOther1, 0),
    IFNULL(DepositOther2, 0), IFNULL(IdProperty, 0), '', '', 0, 0, 0, 0, 0, IFNULL(LateFee, 0),
    IFNULL(LateDays, 0), IFNULL(WarningFee, 0), IFNULL(WarningDays, 0), 0, 0, 0,
    -- DepositTotal, and DepositDue the same: nothing is paid yet.
    CASE IFNULL(Pets, 0)
        WHEN 1 THEN IFNULL(DepositDamage, 0) + IFNULL(DepositClean, 0) + IFNULL(DepositKey, 0)
            + IFNULL(DepositPet, 0) + IFNULL(DepositOther1, 0) + IFNULL(DepositOther2, 0)
        WHEN 0 THEN IFNULL(DepositDamage, 0) + IFNULL(DepositClean, 0) + IFNULL(DepositKey, 0)
            + IFNULL(DepositOther1, 0) + IFNULL(DepositOther2, 0)
        ELSE 0 END,
    CASE IFNULL(Pets, 0)
        WHEN 1 THEN IFNULL(DepositDamage, 0) + IFNULL(DepositClean, 0) + IFNULL(DepositKey, 0)
            + IFNULL(DepositPet, 0) + IFNULL(DepositOther1, 0) + IFNULL(DepositOther2, 0)
        WHEN 0 THEN IFNULL(DepositDamage, 0) + IFNULL(DepositClean, 0) + IFNULL(DepositKey, 0)
            + IFNULL(DepositOther1, 0) + IFNULL(DepositOther2, 0)
        ELSE 0 END,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, ''
  FROM Lease;
DROP TABLE Lease;
ALTER TABLE Lease_new RENAME TO Lease;

-- ManagerLink
CREATE TABLE ManagerLink_new (
    IdManagerLink INTEGER, IdAccount INTEGER, IdBuilding INTEGER, Fee DOUBLE);
INSERT INTO ManagerLink_new (rowid,
    IdManagerLink, IdAccount, IdBuilding, Fee)
  SELECT rowid,
    IFNULL(IdManagerLink, 0), IFNULL(IdAccount, 0), IFNULL(IdProperty, 0), 0
  FROM ManagerLink;
DROP TABLE ManagerLink;
ALTER TABLE ManagerLink_new RENAME TO ManagerLink;

-- Mileage
CREATE TABLE Mileage_new (
    IdMileage INTEGER, Miles DOUBLE, IdBuilding INTEGER, TripDate DATETIME, Rate CURRENCY,
    Purpose VARCHAR(100));
INSERT INTO Mileage_new (rowid,
    IdMileage, Miles, IdBuilding, TripDate, Rate, Purpose)
  SELECT rowid,
    IFNULL(IdMileage, 0), IFNULL(Miles, 0), IFNULL(IdProperty, 0), '', 0, ''
  FROM Mileage;
DROP TABLE Mileage;
ALTER TABLE Mileage_new RENAME TO Mileage;

-- Mortgage: what the recalculation wrote stays as it is.
CREATE TABLE Mortgage_new (
    IdMortgage INTEGER, IdAccount INTEGER, Description VARCHAR(50), IdBuilding INTEGER,
    AccountNumber VARCHAR(50), OrigPV DOUBLE, OrigPer DOUBLE, OrigRate DOUBLE, OrigPmt DOUBLE,
    IntOnly BOOLEAN NOT NULL DEFAULT 0, FirstDue VARCHAR(10), BalloonMtg BOOLEAN NOT NULL DEFAULT 0,
    BalloonPer INTEGER, BalloonPmt DOUBLE, PPM BOOLEAN NOT NULL DEFAULT 0, PPMPct DOUBLE,
    PPMTrigger DOUBLE, PPMPer INTEGER, xPri MEMO TEXT, xPriAll DOUBLE, xRate MEMO TEXT,
    ARM BOOLEAN NOT NULL DEFAULT 0, ARMLockedPer INTEGER, ARMAdjPer INTEGER, ARMLifeCap DOUBLE,
    ARMPerCap DOUBLE, CurrentPeriod INTEGER, CurrentPV CURRENCY, CurrentI CURRENCY,
    CurrentPmt CURRENCY, CurrentPPmt CURRENCY, CurrentIPmt CURRENCY, NextDue VARCHAR(10),
    RemainingT INTEGER, NextEscrowReview VARCHAR(10), EscrowReviewInterval INTEGER,
    EscrowReviewPeriods INTEGER, Hide BOOLEAN NOT NULL DEFAULT 0, Notes MEMO TEXT);
INSERT INTO Mortgage_new (rowid,
    IdMortgage, IdAccount, Description, IdBuilding, AccountNumber, OrigPV, OrigPer, OrigRate,
    OrigPmt, IntOnly, FirstDue, BalloonMtg, BalloonPer, BalloonPmt, PPM, PPMPct, PPMTrigger, PPMPer,
    xPri, xPriAll, xRate, ARM, ARMLockedPer, ARMAdjPer, ARMLifeCap, ARMPerCap, CurrentPeriod,
    CurrentPV, CurrentI, CurrentPmt, CurrentPPmt, CurrentIPmt, NextDue, RemainingT,
    NextEscrowReview, EscrowReviewInterval, EscrowReviewPeriods, Hide, Notes)
  SELECT rowid,
    IFNULL(IdMortgage, 0), IFNULL(IdAccount, 0), IFNULL(Description, ''), IFNULL(IdProperty, 0),
    AccountNumber, OrigPV, OrigPer, OrigRate, OrigPmt, IntOnly, FirstDue, BalloonMtg, BalloonPer,
    BalloonPmt, PPM, PPMPct, PPMTrigger, PPMPer, xPri, xPriAll, xRate, ARM, ARMLockedPer, ARMAdjPer,
    ARMLifeCap, ARMPerCap, CurrentPeriod, 0, 0, CurrentPmt, CurrentPPmt, CurrentIPmt, '', 0,
    NextEscrowReview, EscrowReviewInterval, EscrowReviewPeriods, 0, ''
  FROM Mortgage;
DROP TABLE Mortgage;
ALTER TABLE Mortgage_new RENAME TO Mortgage;

-- MortgageLog
CREATE TABLE MortgageLog_new (
    IdMortgageLog INTEGER, IdMortgage INTEGER, Period INTEGER, Payment CURRENCY,
    IdTransaction INTEGER, DueDate DATETIME, DatePaid DATETIME, Principal CURRENCY,
    Interest CURRENCY, ExtraPrincipal CURRENCY, Escrow CURRENCY, Balance CURRENCY);
INSERT INTO MortgageLog_new (rowid,
    IdMortgageLog, IdMortgage, Period, Payment, IdTransaction, DueDate, DatePaid, Principal,
    Interest, ExtraPrincipal, Escrow, Balance)
  SELECT rowid,
    IFNULL(IdMortgageLog, 0), IFNULL(IdMortgage, 0), IFNULL(Period, 0), IFNULL(Payment, 0), 0, '',
    '', 0, 0, 0, 0, 0
  FROM MortgageLog;
DROP TABLE MortgageLog;
ALTER TABLE MortgageLog_new RENAME TO MortgageLog;

-- OwnerLink
CREATE TABLE OwnerLink_new (
    IdOwnerLink INTEGER, IdAccount INTEGER, IdBuilding INTEGER, Share DOUBLE);
INSERT INTO OwnerLink_new (rowid,
    IdOwnerLink, IdAccount, IdBuilding, Share)
  SELECT rowid,
    IFNULL(IdOwnerLink, 0), IFNULL(IdAccount, 0), IFNULL(IdProperty, 0), 0
  FROM OwnerLink;
DROP TABLE OwnerLink;
ALTER TABLE OwnerLink_new RENAME TO OwnerLink;

-- RentLog
CREATE TABLE RentLog_new (
    IdRentLog INTEGER, IdLease INTEGER, DueDate DATETIME, DatePaid DATETIME, AmountDue CURRENCY,
    AmountPaid CURRENCY, IdTransaction INTEGER, FeeCharged CURRENCY, Balance CURRENCY,
    Notes VARCHAR(255));
INSERT INTO RentLog_new (rowid,
    IdRentLog, IdLease, DueDate, DatePaid, AmountDue, AmountPaid, IdTransaction, FeeCharged,
    Balance, Notes)
  SELECT rowid,
    IFNULL(IdRentLog, 0), IFNULL(IdLease, 0), DueDate, DatePaid, IFNULL(AmountDue, 0),
    IFNULL(AmountPaid, 0), 0, 0, 0, ''
  FROM RentLog;
DROP TABLE RentLog;
ALTER TABLE RentLog_new RENAME TO RentLog;

-- Room
CREATE TABLE Room_new (
    IdRoom INTEGER, Name VARCHAR(30), IdUnit INTEGER, Length DOUBLE, Width DOUBLE,
    Flooring VARCHAR(30), Paint VARCHAR(30), Notes MEMO TEXT);
INSERT INTO Room_new (rowid,
    IdRoom, Name, IdUnit, Length, Width, Flooring, Paint, Notes)
  SELECT rowid,
    IFNULL(IdRoom, 0), IFNULL(Name, ''), IFNULL(IdProperty, 0), 0, 0, '', '', ''
  FROM Room;
DROP TABLE Room;
ALTER TABLE Room_new RENAME TO Room;

-- SvcContract
CREATE TABLE SvcContract_new (
    IdSvcContract INTEGER, Description VARCHAR(50), IdBuilding INTEGER, IdVendor INTEGER,
    StartDate DATETIME, EndDate DATETIME, Amount CURRENCY, Interval INTEGER, Notes MEMO TEXT);
INSERT INTO SvcContract_new (rowid,
    IdSvcContract, Description, IdBuilding, IdVendor, StartDate, EndDate, Amount, Interval, Notes)
  SELECT rowid,
    IFNULL(IdSvcContract, 0), IFNULL(Description, ''), IFNULL(IdProperty, 0), 0, '', '', 0, 0,
    ''
  FROM SvcContract;
DROP TABLE SvcContract;
ALTER TABLE SvcContract_new RENAME TO SvcContract;

-- Tenant: LastName was widened, so it comes last, as the upgrade re-creates it.
CREATE TABLE Tenant_new (
    IdTenant INTEGER, FirstName VARCHAR(50), Phone VARCHAR(20), Notes MEMO TEXT,
    WorkPhone VARCHAR(20), Mobile VARCHAR(20), Email VARCHAR(60), DOB DATETIME, SSN VARCHAR(11),
    DriverLicense VARCHAR(20), Vehicle VARCHAR(50), CreditScore INTEGER, Occupants INTEGER,
    Hide BOOLEAN NOT NULL DEFAULT 0, LastName VARCHAR(50));
INSERT INTO Tenant_new (rowid,
    IdTenant, FirstName, Phone, Notes, WorkPhone, Mobile, Email, DOB, SSN, DriverLicense, Vehicle,
    CreditScore, Occupants, Hide, LastName)
  SELECT rowid,
    IFNULL(IdTenant, 0), IFNULL(FirstName, ''), IFNULL(Phone, ''), IFNULL(Notes, ''), '', '', '',
    '', '', '', '', 0, 0, 0, IFNULL(LastName, '')
  FROM Tenant;
DROP TABLE Tenant;
ALTER TABLE Tenant_new RENAME TO Tenant;

-- Transactions
CREATE TABLE Transactions_new (
    IdTransaction INTEGER, IdAccount INTEGER, TransDate DATETIME, Category VARCHAR(50),
    Description VARCHAR(100), Amount CURRENCY, IdBuilding INTEGER, IdUnit INTEGER, IdLease INTEGER,
    IdLedger INTEGER, IdMileage INTEGER, CheckNumber VARCHAR(20), Class INTEGER, Flags INTEGER,
    Reconciled BOOLEAN NOT NULL DEFAULT 0, Notes MEMO TEXT);
INSERT INTO Transactions_new (rowid,
    IdTransaction, IdAccount, TransDate, Category, Description, Amount, IdBuilding, IdUnit, IdLease,
    IdLedger, IdMileage, CheckNumber, Class, Flags, Reconciled, Notes)
  SELECT rowid,
    IFNULL(IdTransaction, 0), IFNULL(IdAccount, 0), TransDate, IFNULL(Category, ''),
    IFNULL(Description, ''), IFNULL(Amount, 0), IFNULL(IdProperty, 0), IFNULL(IdProperty, 0), 0, 0,
    0, '', 0, 0, 0, ''
  FROM Transactions;
DROP TABLE Transactions;
ALTER TABLE Transactions_new RENAME TO Transactions;

-- Users
CREATE TABLE Users_new (
    IdUser INTEGER, UserName VARCHAR(30), Password VARCHAR(50), FullName VARCHAR(50),
    SecurityLevel INTEGER, Hide BOOLEAN NOT NULL DEFAULT 0);
INSERT INTO Users_new (rowid,
    IdUser, UserName, Password, FullName, SecurityLevel, Hide)
  SELECT rowid,
    IFNULL(IdUser, 0), IFNULL(UserName, ''), IFNULL(Password, ''), '', 0, 0
  FROM Users;
DROP TABLE Users;
ALTER TABLE Users_new RENAME TO Users;

-- Vendor
CREATE TABLE Vendor_new (
    IdVendor INTEGER, Company VARCHAR(50), Contact VARCHAR(50), Address VARCHAR(50),
    City VARCHAR(30), State VARCHAR(20), Zip VARCHAR(10), Phone VARCHAR(20), FAX VARCHAR(20),
    Email VARCHAR(60), TaxIDFed VARCHAR(20), Hide BOOLEAN NOT NULL DEFAULT 0, Notes MEMO TEXT);
INSERT INTO Vendor_new (rowid,
    IdVendor, Company, Contact, Address, City, State, Zip, Phone, FAX, Email, TaxIDFed, Hide, Notes)
  SELECT rowid,
    IFNULL(IdVendor, 0), IFNULL(Company, ''), '', '', '', '', '', '', '', '', '', 0, ''
  FROM Vendor;
DROP TABLE Vendor;
ALTER TABLE Vendor_new RENAME TO Vendor;

-- WOItem
CREATE TABLE WOItem_new (
    IdWOItem INTEGER, IdWorkOrder INTEGER, Description VARCHAR(100), Notes MEMO TEXT,
    Quantity DOUBLE, UnitCost CURRENCY);
INSERT INTO WOItem_new (rowid,
    IdWOItem, IdWorkOrder, Description, Notes, Quantity, UnitCost)
  SELECT rowid,
    IFNULL(IdWOItem, 0), IFNULL(IdWorkOrder, 0), IFNULL(Description, ''), '', 0, 0
  FROM WOItem;
DROP TABLE WOItem;
ALTER TABLE WOItem_new RENAME TO WOItem;

-- WorkOrder
CREATE TABLE WorkOrder_new (
    IdWorkOrder INTEGER, Description VARCHAR(100), Status VARCHAR(20), IdBuilding INTEGER,
    IdUnit INTEGER, IdTenant INTEGER, IdVendor INTEGER, WODate DATETIME, DueDate DATETIME,
    CompletedDate DATETIME, Priority INTEGER, LaborHours DOUBLE, Cost CURRENCY,
    Hide BOOLEAN NOT NULL DEFAULT 0, Notes MEMO TEXT);
INSERT INTO WorkOrder_new (rowid,
    IdWorkOrder, Description, Status, IdBuilding, IdUnit, IdTenant, IdVendor, WODate, DueDate,
    CompletedDate, Priority, LaborHours, Cost, Hide, Notes)
  SELECT rowid,
    IFNULL(IdWorkOrder, 0), IFNULL(Description, ''), IFNULL(Status, ''), 0, IFNULL(IdProperty, 0),
    0, 0, '', '', '', 0, 0, 0, 0, ''
  FROM WorkOrder;
DROP TABLE WorkOrder;
ALTER TABLE WorkOrder_new RENAME TO WorkOrder;

DROP TABLE Reminder;

-- The indexes of the new structure, once.
CREATE INDEX "Configuration.IdConfig" ON Configuration (IdConfig);
CREATE INDEX "Users.IdUser" ON Users (IdUser);
CREATE INDEX "Building.IdBuilding" ON Building (IdBuilding);
CREATE INDEX "Unit.IdUnit" ON Unit (IdUnit);
CREATE INDEX "Unit.IdBuilding" ON Unit (IdBuilding);
CREATE INDEX "Room.IdRoom" ON Room (IdRoom);
CREATE INDEX "Room.IdUnit" ON Room (IdUnit);
CREATE INDEX "Appliance.IdAppliance" ON Appliance (IdAppliance);
CREATE INDEX "Appliance.IdUnit" ON Appliance (IdUnit);
CREATE INDEX "Content.IdContent" ON Content (IdContent);
CREATE INDEX "Content.IdUnit" ON Content (IdUnit);
CREATE INDEX "Analysis.IdAnalysis" ON Analysis (IdAnalysis);
CREATE INDEX "Analysis.IdBuilding" ON Analysis (IdBuilding);
CREATE INDEX "Account.IdAccount" ON Account (IdAccount);
CREATE INDEX "OwnerLink.IdOwnerLink" ON OwnerLink (IdOwnerLink);
CREATE INDEX "OwnerLink.IdAccount" ON OwnerLink (IdAccount);
CREATE INDEX "OwnerLink.IdBuilding" ON OwnerLink (IdBuilding);
CREATE INDEX "ManagerLink.IdManagerLink" ON ManagerLink (IdManagerLink);
CREATE INDEX "ManagerLink.IdAccount" ON ManagerLink (IdAccount);
CREATE INDEX "ManagerLink.IdBuilding" ON ManagerLink (IdBuilding);
CREATE INDEX "Vendor.IdVendor" ON Vendor (IdVendor);
CREATE INDEX "SvcContract.IdSvcContract" ON SvcContract (IdSvcContract);
CREATE INDEX "SvcContract.IdBuilding" ON SvcContract (IdBuilding);
CREATE INDEX "SvcContract.IdVendor" ON SvcContract (IdVendor);
CREATE INDEX "Tenant.IdTenant" ON Tenant (IdTenant);
CREATE INDEX "Contact.IdContact" ON Contact (IdContact);
CREATE INDEX "Contact.IdRelated" ON Contact (IdRelated);
CREATE INDEX "Lease.IdLease" ON Lease (IdLease);
CREATE INDEX "Lease.IdUnit" ON Lease (IdUnit);
CREATE INDEX "Lease.IdTenant" ON Lease (IdTenant);
CREATE INDEX "RentLog.IdRentLog" ON RentLog (IdRentLog);
CREATE INDEX "RentLog.IdLease" ON RentLog (IdLease);
CREATE INDEX "RentLog.IdTransaction" ON RentLog (IdTransaction);
CREATE INDEX "Deposit.IdDeposit" ON Deposit (IdDeposit);
CREATE INDEX "Deposit.IdLease" ON Deposit (IdLease);
CREATE INDEX "Deposit.IdAccount" ON Deposit (IdAccount);
CREATE INDEX "Incident.IdIncident" ON Incident (IdIncident);
CREATE INDEX "Incident.IdUnit" ON Incident (IdUnit);
CREATE INDEX "Incident.IdTenant" ON Incident (IdTenant);
CREATE INDEX "Mortgage.IdMortgage" ON Mortgage (IdMortgage);
CREATE INDEX "Mortgage.IdBuilding" ON Mortgage (IdBuilding);
CREATE INDEX "Mortgage.IdAccount" ON Mortgage (IdAccount);
CREATE INDEX "MortgageLog.IdMortgageLog" ON MortgageLog (IdMortgageLog);
CREATE INDEX "MortgageLog.IdMortgage" ON MortgageLog (IdMortgage);
CREATE INDEX "MortgageLog.IdTransaction" ON MortgageLog (IdTransaction);
CREATE INDEX "TransCategory.Category" ON TransCategory (Category);
CREATE INDEX "Transactions.IdTransaction" ON Transactions (IdTransaction);
CREATE INDEX "Transactions.IdBuilding" ON Transactions (IdBuilding);
CREATE INDEX "Transactions.IdUnit" ON Transactions (IdUnit);
CREATE INDEX "Transactions.IdAccount" ON Transactions (IdAccount);
CREATE INDEX "Transactions.IdLease" ON Transactions (IdLease);
CREATE INDEX "Transactions.IdLedger" ON Transactions (IdLedger);
CREATE INDEX "Transactions.IdMileage" ON Transactions (IdMileage);
CREATE INDEX "Mileage.IdMileage" ON Mileage (IdMileage);
CREATE INDEX "Mileage.IdBuilding" ON Mileage (IdBuilding);
CREATE INDEX "Invoice.IdInvoice" ON Invoice (IdInvoice);
CREATE INDEX "Invoice.IdVendor" ON Invoice (IdVendor);
CREATE INDEX "Invoice.IdWorkOrder" ON Invoice (IdWorkOrder);
CREATE INDEX "WorkOrder.IdWorkOrder" ON WorkOrder (IdWorkOrder);
CREATE INDEX "WorkOrder.IdBuilding" ON WorkOrder (IdBuilding);
CREATE INDEX "WorkOrder.IdUnit" ON WorkOrder (IdUnit);
CREATE INDEX "WorkOrder.IdTenant" ON WorkOrder (IdTenant);
CREATE INDEX "WorkOrder.IdVendor" ON WorkOrder (IdVendor);
CREATE INDEX "WOItem.IdWOItem" ON WOItem (IdWOItem);
CREATE INDEX "WOItem.IdWorkOrder" ON WOItem (IdWorkOrder);
CREATE INDEX "WOHistory.IdWOHistory" ON WOHistory (IdWOHistory);
CREATE INDEX "WOHistory.IdWorkOrder" ON WOHistory (IdWorkOrder);
CREATE INDEX "WOHistory.IdUser" ON WOHistory (IdUser);
CREATE INDEX "Alert.IdAlert" ON Alert (IdAlert);
CREATE INDEX "Alert.IdRelated" ON Alert (IdRelated);
CREATE INDEX "Activity.IdActivity" ON Activity (IdActivity);
CREATE INDEX "Activity.IdRelated" ON Activity (IdRelated);
CREATE INDEX "Activity.IdUser" ON Activity (IdUser);
CREATE INDEX "AutoEvent.IdAutoEvent" ON AutoEvent (IdAutoEvent);
CREATE INDEX "AutoEvent.IdBuilding" ON AutoEvent (IdBuilding);
CREATE INDEX "AutoEvent.IdUnit" ON AutoEvent (IdUnit);
CREATE INDEX "Doc.IdDoc" ON Doc (IdDoc);
CREATE INDEX "FileObject.IdFileObject" ON FileObject (IdFileObject);
CREATE INDEX "FileObject.IdOwner" ON FileObject (IdOwner);

COMMIT;
