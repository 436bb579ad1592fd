-- The suite's tables as far as the troubleshooting report looks at them, with
-- stray rent-log and mortgage-log rows, NULLs to repair and two configuration
-- records.
CREATE TABLE Building (IdBuilding INTEGER, Name VARCHAR(50));
CREATE TABLE Tenant (IdTenant INTEGER, Name VARCHAR(50));
CREATE TABLE Lease (IdLease INTEGER, IdTenant INTEGER, Rent CURRENCY);
CREATE TABLE Mortgage (IdMortgage INTEGER, Lender VARCHAR(50));
CREATE TABLE RentLog (IdRentLog INTEGER, IdLease INTEGER, Paid CURRENCY, Memo VARCHAR(50));
CREATE TABLE MortgageLog (IdMortgageLog INTEGER, IdMortgage INTEGER, Paid CURRENCY);
CREATE TABLE FileObject (IdFileObject INTEGER, dbType INTEGER, IdOwner INTEGER);
CREATE TABLE Configuration (CompanyName VARCHAR(50), NextId INTEGER, EnableAdvanced BOOLEAN NOT NULL DEFAULT 0, ShowAllAccounts BOOLEAN NOT NULL DEFAULT 0, KeepAlerts INTEGER, ReceiptTemplate VARCHAR(255), RptIncludeGraphic BOOLEAN NOT NULL DEFAULT 0, RptGraphicPath VARCHAR(255), LastExport DATETIME);
INSERT INTO Building VALUES (1, 'Elm Court');
INSERT INTO Tenant VALUES (7, 'Ada');
INSERT INTO Lease VALUES (1, 7, 650), (2, 7, 700);
INSERT INTO Mortgage VALUES (3, 'First Bank');
INSERT INTO RentLog VALUES (1, 1, 650, 'Jan'), (2, 2, 700, NULL), (3, 9, 650, 'stray'), (4, 1, NULL, 'Feb');
-- Nine strays in a row: each must go, not every other one.
WITH RECURSIVE n(i) AS (SELECT 5 UNION ALL SELECT i + 1 FROM n WHERE i < 13)
INSERT INTO RentLog SELECT i, 40 + i, 100, 'x' FROM n;
INSERT INTO MortgageLog VALUES (1, 3, 400), (5, 99, 1);
INSERT INTO FileObject VALUES (1, 28, 1), (2, 4, 1), (3, 5, 8);
INSERT INTO Configuration VALUES ('Harbour Lets', 5012, 1, 0, 30, 'receipt.rtf', 0, NULL, NULL);
INSERT INTO Configuration VALUES ('Second', 1, 0, 0, 0, '', 0, '', NULL);
