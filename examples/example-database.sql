-- The example database: a system part (tables SYS_...) and the part of firm A01 (objects A01_...)
-- of a small trading business. make-example.sh runs it on a new, empty SQL Server database
-- (2016 or later) and exports the result with qldb export into Example.xml.
--
-- Batches are separated by lines holding only GO. Lines that begin with -- are comments: the
-- runners of this folder leave them out, so no comment ends up in the text of a view, function,
-- procedure or trigger. Foreign keys are left out on purpose: a structure file does not carry
-- them, so a database made from the file would not have them either.

-- System part ----------------------------------------------------------------------------------

-- The version registry: one row per structure version applied, per part.
CREATE TABLE SYS_DBS (
    ID int IDENTITY(1, 1) NOT NULL CONSTRAINT PK_SYS_DBS PRIMARY KEY,
    SYS_DATABASE nvarchar(10) NOT NULL,
    SYS_VERSION nvarchar(20) NOT NULL,
    SYS_CREATION bit NOT NULL CONSTRAINT DF_SYS_DBS_CREATION DEFAULT (0),
    SYS_COMPLETED bit NOT NULL CONSTRAINT DF_SYS_DBS_COMPLETED DEFAULT (0),
    SYS_DATE datetime NULL,
    SYS_DCC nvarchar(128) NULL
);
CREATE INDEX IX_SYS_DBS_DATABASE ON SYS_DBS (SYS_DATABASE, SYS_VERSION);
EXEC sp_addextendedproperty N'MS_Description', N'Row number', N'SCHEMA', N'dbo', N'TABLE', N'SYS_DBS', N'COLUMN', N'ID';
EXEC sp_addextendedproperty N'MS_Description', N'Part of the database [SYS or the firm code]', N'SCHEMA', N'dbo', N'TABLE', N'SYS_DBS', N'COLUMN', N'SYS_DATABASE';
EXEC sp_addextendedproperty N'MS_Description', N'Structure version', N'SCHEMA', N'dbo', N'TABLE', N'SYS_DBS', N'COLUMN', N'SYS_VERSION';
EXEC sp_addextendedproperty N'MS_Description', N'Made by a create run', N'SCHEMA', N'dbo', N'TABLE', N'SYS_DBS', N'COLUMN', N'SYS_CREATION';
EXEC sp_addextendedproperty N'MS_Description', N'Update completed without errors', N'SCHEMA', N'dbo', N'TABLE', N'SYS_DBS', N'COLUMN', N'SYS_COMPLETED';
EXEC sp_addextendedproperty N'MS_Description', N'When the version was applied', N'SCHEMA', N'dbo', N'TABLE', N'SYS_DBS', N'COLUMN', N'SYS_DATE';
EXEC sp_addextendedproperty N'MS_Description', N'Collation of the update', N'SCHEMA', N'dbo', N'TABLE', N'SYS_DBS', N'COLUMN', N'SYS_DCC';
GO

-- The update queries run on this database, so that each runs once.
CREATE TABLE SYS_QRY (
    RECORD_ID int IDENTITY(1, 1) NOT NULL CONSTRAINT PK_SYS_QRY PRIMARY KEY,
    QYDBE nvarchar(10) NOT NULL,
    QYTAC int NOT NULL CONSTRAINT DF_SYS_QRY_QYTAC DEFAULT (0),
    QYVER nvarchar(20) NOT NULL,
    QYORD int NOT NULL CONSTRAINT DF_SYS_QRY_QYORD DEFAULT (1),
    QYDES nvarchar(200) NULL,
    QYTXT nvarchar(max) NULL,
    IDQRY int NULL,
    QYCHK int NULL
);
CREATE INDEX IX_SYS_QRY_VERSION ON SYS_QRY (QYDBE, QYTAC, QYVER);
EXEC sp_addextendedproperty N'MS_Description', N'Row number', N'SCHEMA', N'dbo', N'TABLE', N'SYS_QRY', N'COLUMN', N'RECORD_ID';
EXEC sp_addextendedproperty N'MS_Description', N'Part of the database', N'SCHEMA', N'dbo', N'TABLE', N'SYS_QRY', N'COLUMN', N'QYDBE';
EXEC sp_addextendedproperty N'MS_Description', N'When it runs [0 before, 1 after the update]', N'SCHEMA', N'dbo', N'TABLE', N'SYS_QRY', N'COLUMN', N'QYTAC';
EXEC sp_addextendedproperty N'MS_Description', N'Structure version of the query', N'SCHEMA', N'dbo', N'TABLE', N'SYS_QRY', N'COLUMN', N'QYVER';
EXEC sp_addextendedproperty N'MS_Description', N'Order within the version', N'SCHEMA', N'dbo', N'TABLE', N'SYS_QRY', N'COLUMN', N'QYORD';
EXEC sp_addextendedproperty N'MS_Description', N'Description', N'SCHEMA', N'dbo', N'TABLE', N'SYS_QRY', N'COLUMN', N'QYDES';
EXEC sp_addextendedproperty N'MS_Description', N'SQL text', N'SCHEMA', N'dbo', N'TABLE', N'SYS_QRY', N'COLUMN', N'QYTXT';
EXEC sp_addextendedproperty N'MS_Description', N'Outside key of the query', N'SCHEMA', N'dbo', N'TABLE', N'SYS_QRY', N'COLUMN', N'IDQRY';
EXEC sp_addextendedproperty N'MS_Description', N'Outcome [1 ran, 2 failed]', N'SCHEMA', N'dbo', N'TABLE', N'SYS_QRY', N'COLUMN', N'QYCHK';
GO

CREATE TABLE SYS_USR (
    USER_CODE nvarchar(20) NOT NULL CONSTRAINT PK_SYS_USR PRIMARY KEY,
    FULL_NAME nvarchar(80) NOT NULL,
    EMAIL nvarchar(120) NULL,
    IS_ADMIN bit NOT NULL CONSTRAINT DF_SYS_USR_IS_ADMIN DEFAULT (0),
    CREATED_AT datetime NOT NULL CONSTRAINT DF_SYS_USR_CREATED_AT DEFAULT (getdate())
);
CREATE INDEX IX_SYS_USR_FULL_NAME ON SYS_USR (FULL_NAME);
EXEC sp_addextendedproperty N'MS_Description', N'Login code', N'SCHEMA', N'dbo', N'TABLE', N'SYS_USR', N'COLUMN', N'USER_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'Full name', N'SCHEMA', N'dbo', N'TABLE', N'SYS_USR', N'COLUMN', N'FULL_NAME';
EXEC sp_addextendedproperty N'MS_Description', N'E-mail address', N'SCHEMA', N'dbo', N'TABLE', N'SYS_USR', N'COLUMN', N'EMAIL';
EXEC sp_addextendedproperty N'MS_Description', N'Administrator', N'SCHEMA', N'dbo', N'TABLE', N'SYS_USR', N'COLUMN', N'IS_ADMIN';
EXEC sp_addextendedproperty N'MS_Description', N'Created on', N'SCHEMA', N'dbo', N'TABLE', N'SYS_USR', N'COLUMN', N'CREATED_AT';
GO

CREATE TABLE SYS_PAR (
    PAR_CODE nvarchar(40) NOT NULL CONSTRAINT PK_SYS_PAR PRIMARY KEY,
    PAR_VALUE nvarchar(200) NULL,
    PAR_DESCRIPTION nvarchar(200) NULL
);
EXEC sp_addextendedproperty N'MS_Description', N'Parameter code', N'SCHEMA', N'dbo', N'TABLE', N'SYS_PAR', N'COLUMN', N'PAR_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'Value', N'SCHEMA', N'dbo', N'TABLE', N'SYS_PAR', N'COLUMN', N'PAR_VALUE';
EXEC sp_addextendedproperty N'MS_Description', N'What the parameter is for', N'SCHEMA', N'dbo', N'TABLE', N'SYS_PAR', N'COLUMN', N'PAR_DESCRIPTION';
GO

-- Firm A01 --------------------------------------------------------------------------------------

-- Units of measure: the rows travel in the structure file as a data table.
CREATE TABLE A01_UOM (
    UOM_CODE nvarchar(5) NOT NULL CONSTRAINT PK_A01_UOM PRIMARY KEY,
    UOM_DESCRIPTION nvarchar(40) NOT NULL,
    UOM_DECIMALS tinyint NOT NULL CONSTRAINT DF_A01_UOM_DECIMALS DEFAULT (0)
);
EXEC sp_addextendedproperty N'MS_Description', N'Unit code', N'SCHEMA', N'dbo', N'TABLE', N'A01_UOM', N'COLUMN', N'UOM_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'Description', N'SCHEMA', N'dbo', N'TABLE', N'A01_UOM', N'COLUMN', N'UOM_DESCRIPTION';
EXEC sp_addextendedproperty N'MS_Description', N'Decimals of a quantity', N'SCHEMA', N'dbo', N'TABLE', N'A01_UOM', N'COLUMN', N'UOM_DECIMALS';
GO

CREATE TABLE A01_VAT (
    VAT_CODE nvarchar(5) NOT NULL CONSTRAINT PK_A01_VAT PRIMARY KEY,
    VAT_DESCRIPTION nvarchar(60) NOT NULL,
    VAT_RATE float NOT NULL CONSTRAINT DF_A01_VAT_RATE DEFAULT (0),
    IS_EXEMPT bit NOT NULL CONSTRAINT DF_A01_VAT_IS_EXEMPT DEFAULT (0)
);
EXEC sp_addextendedproperty N'MS_Description', N'VAT code', N'SCHEMA', N'dbo', N'TABLE', N'A01_VAT', N'COLUMN', N'VAT_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'Description', N'SCHEMA', N'dbo', N'TABLE', N'A01_VAT', N'COLUMN', N'VAT_DESCRIPTION';
EXEC sp_addextendedproperty N'MS_Description', N'Rate [percent]', N'SCHEMA', N'dbo', N'TABLE', N'A01_VAT', N'COLUMN', N'VAT_RATE';
EXEC sp_addextendedproperty N'MS_Description', N'Exempt from VAT', N'SCHEMA', N'dbo', N'TABLE', N'A01_VAT', N'COLUMN', N'IS_EXEMPT';
GO

CREATE TABLE A01_PAYMENT_TERMS (
    TERM_CODE nvarchar(5) NOT NULL CONSTRAINT PK_A01_PAYMENT_TERMS PRIMARY KEY,
    TERM_DESCRIPTION nvarchar(60) NOT NULL,
    DAYS int NOT NULL CONSTRAINT DF_A01_PAYMENT_TERMS_DAYS DEFAULT (0),
    END_OF_MONTH bit NOT NULL CONSTRAINT DF_A01_PAYMENT_TERMS_END_OF_MONTH DEFAULT (0)
);
EXEC sp_addextendedproperty N'MS_Description', N'Payment term code', N'SCHEMA', N'dbo', N'TABLE', N'A01_PAYMENT_TERMS', N'COLUMN', N'TERM_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'Description', N'SCHEMA', N'dbo', N'TABLE', N'A01_PAYMENT_TERMS', N'COLUMN', N'TERM_DESCRIPTION';
EXEC sp_addextendedproperty N'MS_Description', N'Days after the invoice', N'SCHEMA', N'dbo', N'TABLE', N'A01_PAYMENT_TERMS', N'COLUMN', N'DAYS';
EXEC sp_addextendedproperty N'MS_Description', N'Due at the end of the month', N'SCHEMA', N'dbo', N'TABLE', N'A01_PAYMENT_TERMS', N'COLUMN', N'END_OF_MONTH';
GO

CREATE TABLE A01_CUSTOMERS (
    CUSTOMER_ID int IDENTITY(1, 1) NOT NULL CONSTRAINT PK_A01_CUSTOMERS PRIMARY KEY,
    CUSTOMER_CODE nvarchar(10) NOT NULL,
    COMPANY_NAME nvarchar(80) NOT NULL,
    VAT_NUMBER nvarchar(20) NULL,
    EMAIL nvarchar(120) NULL,
    PAYMENT_TERM nvarchar(5) NULL,
    CREDIT_LIMIT float NOT NULL CONSTRAINT DF_A01_CUSTOMERS_CREDIT_LIMIT DEFAULT (0),
    IS_ACTIVE bit NOT NULL CONSTRAINT DF_A01_CUSTOMERS_IS_ACTIVE DEFAULT (1),
    CREATED_AT datetime NOT NULL CONSTRAINT DF_A01_CUSTOMERS_CREATED_AT DEFAULT (getdate())
);
CREATE UNIQUE INDEX UX_A01_CUSTOMERS_CODE ON A01_CUSTOMERS (CUSTOMER_CODE);
CREATE INDEX IX_A01_CUSTOMERS_NAME ON A01_CUSTOMERS (COMPANY_NAME);
EXEC sp_addextendedproperty N'MS_Description', N'Customer number', N'SCHEMA', N'dbo', N'TABLE', N'A01_CUSTOMERS', N'COLUMN', N'CUSTOMER_ID';
EXEC sp_addextendedproperty N'MS_Description', N'Customer code', N'SCHEMA', N'dbo', N'TABLE', N'A01_CUSTOMERS', N'COLUMN', N'CUSTOMER_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'Company name', N'SCHEMA', N'dbo', N'TABLE', N'A01_CUSTOMERS', N'COLUMN', N'COMPANY_NAME';
EXEC sp_addextendedproperty N'MS_Description', N'VAT number', N'SCHEMA', N'dbo', N'TABLE', N'A01_CUSTOMERS', N'COLUMN', N'VAT_NUMBER';
EXEC sp_addextendedproperty N'MS_Description', N'E-mail for orders and invoices', N'SCHEMA', N'dbo', N'TABLE', N'A01_CUSTOMERS', N'COLUMN', N'EMAIL';
EXEC sp_addextendedproperty N'MS_Description', N'Payment term [a code of the payment terms]', N'SCHEMA', N'dbo', N'TABLE', N'A01_CUSTOMERS', N'COLUMN', N'PAYMENT_TERM';
EXEC sp_addextendedproperty N'MS_Description', N'Credit limit', N'SCHEMA', N'dbo', N'TABLE', N'A01_CUSTOMERS', N'COLUMN', N'CREDIT_LIMIT';
EXEC sp_addextendedproperty N'MS_Description', N'Active customer', N'SCHEMA', N'dbo', N'TABLE', N'A01_CUSTOMERS', N'COLUMN', N'IS_ACTIVE';
EXEC sp_addextendedproperty N'MS_Description', N'Created on', N'SCHEMA', N'dbo', N'TABLE', N'A01_CUSTOMERS', N'COLUMN', N'CREATED_AT';
GO

CREATE TABLE A01_ITEMS (
    ITEM_CODE nvarchar(20) NOT NULL CONSTRAINT PK_A01_ITEMS PRIMARY KEY,
    DESCRIPTION nvarchar(80) NOT NULL,
    UOM_CODE nvarchar(5) NOT NULL CONSTRAINT DF_A01_ITEMS_UOM_CODE DEFAULT (N'PCS'),
    VAT_CODE nvarchar(5) NULL,
    LIST_PRICE float NOT NULL CONSTRAINT DF_A01_ITEMS_LIST_PRICE DEFAULT (0),
    WEIGHT_KG float NULL,
    IS_ACTIVE bit NOT NULL CONSTRAINT DF_A01_ITEMS_IS_ACTIVE DEFAULT (1)
);
CREATE INDEX IX_A01_ITEMS_DESCRIPTION ON A01_ITEMS (DESCRIPTION);
EXEC sp_addextendedproperty N'MS_Description', N'Item code', N'SCHEMA', N'dbo', N'TABLE', N'A01_ITEMS', N'COLUMN', N'ITEM_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'Description', N'SCHEMA', N'dbo', N'TABLE', N'A01_ITEMS', N'COLUMN', N'DESCRIPTION';
EXEC sp_addextendedproperty N'MS_Description', N'Unit of measure', N'SCHEMA', N'dbo', N'TABLE', N'A01_ITEMS', N'COLUMN', N'UOM_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'VAT code', N'SCHEMA', N'dbo', N'TABLE', N'A01_ITEMS', N'COLUMN', N'VAT_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'List price [net of VAT]', N'SCHEMA', N'dbo', N'TABLE', N'A01_ITEMS', N'COLUMN', N'LIST_PRICE';
EXEC sp_addextendedproperty N'MS_Description', N'Weight in kilograms', N'SCHEMA', N'dbo', N'TABLE', N'A01_ITEMS', N'COLUMN', N'WEIGHT_KG';
EXEC sp_addextendedproperty N'MS_Description', N'Item on sale', N'SCHEMA', N'dbo', N'TABLE', N'A01_ITEMS', N'COLUMN', N'IS_ACTIVE';
GO

CREATE TABLE A01_ORDERS (
    ORDER_ID int IDENTITY(1, 1) NOT NULL CONSTRAINT PK_A01_ORDERS PRIMARY KEY,
    ORDER_NUMBER nvarchar(12) NOT NULL,
    CUSTOMER_ID int NOT NULL,
    ORDER_DATE datetime NOT NULL CONSTRAINT DF_A01_ORDERS_ORDER_DATE DEFAULT (getdate()),
    STATUS char(1) NOT NULL CONSTRAINT DF_A01_ORDERS_STATUS DEFAULT ('O'),
    TOTAL_AMOUNT float NOT NULL CONSTRAINT DF_A01_ORDERS_TOTAL_AMOUNT DEFAULT (0),
    NOTES nvarchar(500) NULL
);
CREATE UNIQUE INDEX UX_A01_ORDERS_NUMBER ON A01_ORDERS (ORDER_NUMBER);
CREATE INDEX IX_A01_ORDERS_CUSTOMER ON A01_ORDERS (CUSTOMER_ID, ORDER_DATE DESC);
EXEC sp_addextendedproperty N'MS_Description', N'Order number', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDERS', N'COLUMN', N'ORDER_ID';
EXEC sp_addextendedproperty N'MS_Description', N'Order number as printed', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDERS', N'COLUMN', N'ORDER_NUMBER';
EXEC sp_addextendedproperty N'MS_Description', N'Customer', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDERS', N'COLUMN', N'CUSTOMER_ID';
EXEC sp_addextendedproperty N'MS_Description', N'Order date', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDERS', N'COLUMN', N'ORDER_DATE';
EXEC sp_addextendedproperty N'MS_Description', N'Status [O open, D delivered, C closed, X cancelled]', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDERS', N'COLUMN', N'STATUS';
EXEC sp_addextendedproperty N'MS_Description', N'Total of the lines, kept by a trigger', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDERS', N'COLUMN', N'TOTAL_AMOUNT';
EXEC sp_addextendedproperty N'MS_Description', N'Notes', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDERS', N'COLUMN', N'NOTES';
GO

CREATE TABLE A01_ORDER_LINES (
    ORDER_ID int NOT NULL,
    LINE_NO int NOT NULL,
    ITEM_CODE nvarchar(20) NOT NULL,
    QUANTITY float NOT NULL CONSTRAINT DF_A01_ORDER_LINES_QUANTITY DEFAULT (1),
    UNIT_PRICE float NOT NULL CONSTRAINT DF_A01_ORDER_LINES_UNIT_PRICE DEFAULT (0),
    DISCOUNT_PCT float NOT NULL CONSTRAINT DF_A01_ORDER_LINES_DISCOUNT_PCT DEFAULT (0),
    VAT_CODE nvarchar(5) NULL,
    CONSTRAINT PK_A01_ORDER_LINES PRIMARY KEY (ORDER_ID, LINE_NO)
);
CREATE INDEX IX_A01_ORDER_LINES_ITEM ON A01_ORDER_LINES (ITEM_CODE) INCLUDE (QUANTITY);
EXEC sp_addextendedproperty N'MS_Description', N'Order', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDER_LINES', N'COLUMN', N'ORDER_ID';
EXEC sp_addextendedproperty N'MS_Description', N'Line number', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDER_LINES', N'COLUMN', N'LINE_NO';
EXEC sp_addextendedproperty N'MS_Description', N'Item', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDER_LINES', N'COLUMN', N'ITEM_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'Quantity', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDER_LINES', N'COLUMN', N'QUANTITY';
EXEC sp_addextendedproperty N'MS_Description', N'Unit price', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDER_LINES', N'COLUMN', N'UNIT_PRICE';
EXEC sp_addextendedproperty N'MS_Description', N'Discount [percent]', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDER_LINES', N'COLUMN', N'DISCOUNT_PCT';
EXEC sp_addextendedproperty N'MS_Description', N'VAT code', N'SCHEMA', N'dbo', N'TABLE', N'A01_ORDER_LINES', N'COLUMN', N'VAT_CODE';
GO

CREATE TABLE A01_STOCK_MOVES (
    MOVE_ID int IDENTITY(1, 1) NOT NULL CONSTRAINT PK_A01_STOCK_MOVES PRIMARY KEY,
    ITEM_CODE nvarchar(20) NOT NULL,
    MOVE_DATE datetime NOT NULL CONSTRAINT DF_A01_STOCK_MOVES_MOVE_DATE DEFAULT (getdate()),
    QUANTITY float NOT NULL,
    REASON char(3) NOT NULL CONSTRAINT DF_A01_STOCK_MOVES_REASON DEFAULT ('ADJ'),
    ORDER_ID int NULL
);
CREATE INDEX IX_A01_STOCK_MOVES_ITEM ON A01_STOCK_MOVES (ITEM_CODE, MOVE_DATE);
EXEC sp_addextendedproperty N'MS_Description', N'Move number', N'SCHEMA', N'dbo', N'TABLE', N'A01_STOCK_MOVES', N'COLUMN', N'MOVE_ID';
EXEC sp_addextendedproperty N'MS_Description', N'Item', N'SCHEMA', N'dbo', N'TABLE', N'A01_STOCK_MOVES', N'COLUMN', N'ITEM_CODE';
EXEC sp_addextendedproperty N'MS_Description', N'Date of the move', N'SCHEMA', N'dbo', N'TABLE', N'A01_STOCK_MOVES', N'COLUMN', N'MOVE_DATE';
EXEC sp_addextendedproperty N'MS_Description', N'Quantity [negative when it leaves]', N'SCHEMA', N'dbo', N'TABLE', N'A01_STOCK_MOVES', N'COLUMN', N'QUANTITY';
EXEC sp_addextendedproperty N'MS_Description', N'Reason [INI opening, ORD order, ADJ adjustment]', N'SCHEMA', N'dbo', N'TABLE', N'A01_STOCK_MOVES', N'COLUMN', N'REASON';
EXEC sp_addextendedproperty N'MS_Description', N'Order that moved it', N'SCHEMA', N'dbo', N'TABLE', N'A01_STOCK_MOVES', N'COLUMN', N'ORDER_ID';
GO

-- The net amount of an order line, rounded to the cent.
CREATE FUNCTION A01_FN_LINE_AMOUNT (@QUANTITY float, @UNIT_PRICE float, @DISCOUNT_PCT float)
RETURNS float
AS
BEGIN
    RETURN ROUND(@QUANTITY * @UNIT_PRICE * (100 - @DISCOUNT_PCT) / 100, 2);
END
GO

-- One row per order with its lines summed; the view below stands on it.
CREATE VIEW A01_V_ORDER_TOTALS
AS
SELECT O.ORDER_ID, O.ORDER_NUMBER, O.CUSTOMER_ID, O.ORDER_DATE, O.STATUS,
       COUNT(L.LINE_NO) AS LINES,
       ISNULL(SUM(dbo.A01_FN_LINE_AMOUNT(L.QUANTITY, L.UNIT_PRICE, L.DISCOUNT_PCT)), 0) AS NET_AMOUNT
FROM A01_ORDERS O
LEFT JOIN A01_ORDER_LINES L ON L.ORDER_ID = O.ORDER_ID
GROUP BY O.ORDER_ID, O.ORDER_NUMBER, O.CUSTOMER_ID, O.ORDER_DATE, O.STATUS
GO

CREATE VIEW A01_V_CUSTOMER_SALES
AS
SELECT C.CUSTOMER_CODE, C.COMPANY_NAME,
       COUNT(T.ORDER_ID) AS ORDERS,
       ISNULL(SUM(T.NET_AMOUNT), 0) AS SALES_AMOUNT,
       MAX(T.ORDER_DATE) AS LAST_ORDER_DATE
FROM A01_CUSTOMERS C
LEFT JOIN A01_V_ORDER_TOTALS T ON T.CUSTOMER_ID = C.CUSTOMER_ID AND T.STATUS <> 'X'
GROUP BY C.CUSTOMER_CODE, C.COMPANY_NAME
GO

CREATE VIEW A01_V_ITEM_STOCK
AS
SELECT I.ITEM_CODE, I.DESCRIPTION, I.UOM_CODE,
       ISNULL(SUM(M.QUANTITY), 0) AS STOCK
FROM A01_ITEMS I
LEFT JOIN A01_STOCK_MOVES M ON M.ITEM_CODE = I.ITEM_CODE
GROUP BY I.ITEM_CODE, I.DESCRIPTION, I.UOM_CODE
GO

-- Closes an open order: its lines leave the stock and the order is marked closed.
CREATE PROCEDURE A01_PRC_CLOSE_ORDER
    @ORDER_ID int
AS
BEGIN
    SET NOCOUNT ON;
    IF NOT EXISTS (SELECT * FROM A01_ORDERS WHERE ORDER_ID = @ORDER_ID AND STATUS IN ('O', 'D'))
        RETURN 1;
    INSERT INTO A01_STOCK_MOVES (ITEM_CODE, QUANTITY, REASON, ORDER_ID)
    SELECT ITEM_CODE, -QUANTITY, 'ORD', ORDER_ID
    FROM A01_ORDER_LINES
    WHERE ORDER_ID = @ORDER_ID;
    UPDATE A01_ORDERS SET STATUS = 'C' WHERE ORDER_ID = @ORDER_ID;
    RETURN 0;
END
GO

-- Keeps the total of an order in step with its lines.
CREATE TRIGGER A01_TRG_ORDER_LINES_TOTAL ON A01_ORDER_LINES
AFTER INSERT, UPDATE, DELETE
AS
BEGIN
    SET NOCOUNT ON;
    UPDATE O
    SET TOTAL_AMOUNT = ISNULL((SELECT SUM(dbo.A01_FN_LINE_AMOUNT(L.QUANTITY, L.UNIT_PRICE, L.DISCOUNT_PCT))
                               FROM A01_ORDER_LINES L
                               WHERE L.ORDER_ID = O.ORDER_ID), 0)
    FROM A01_ORDERS O
    WHERE O.ORDER_ID IN (SELECT ORDER_ID FROM inserted UNION SELECT ORDER_ID FROM deleted);
END
GO

-- Rows ---------------------------------------------------------------------------------------------

INSERT INTO SYS_USR (USER_CODE, FULL_NAME, EMAIL, IS_ADMIN)
VALUES (N'ADMIN', N'Administrator', N'admin@example.com', 1),
       (N'CLERK', N'Order clerk', N'orders@example.com', 0);
INSERT INTO SYS_PAR (PAR_CODE, PAR_VALUE, PAR_DESCRIPTION)
VALUES (N'CURRENCY', N'EUR', N'Currency of the amounts');
INSERT INTO A01_UOM (UOM_CODE, UOM_DESCRIPTION, UOM_DECIMALS)
VALUES (N'PCS', N'Pieces', 0), (N'BOX', N'Boxes', 0), (N'KG', N'Kilograms', 3), (N'M', N'Metres', 2),
       (N'L', N'Litres', 2);
INSERT INTO A01_VAT (VAT_CODE, VAT_DESCRIPTION, VAT_RATE, IS_EXEMPT)
VALUES (N'22', N'Standard rate', 22, 0), (N'10', N'Reduced rate', 10, 0), (N'4', N'Super-reduced rate', 4, 0),
       (N'EX', N'Exempt', 0, 1);
INSERT INTO A01_PAYMENT_TERMS (TERM_CODE, TERM_DESCRIPTION, DAYS, END_OF_MONTH)
VALUES (N'CASH', N'Cash on delivery', 0, 0), (N'R30', N'30 days', 30, 0), (N'R60EM', N'60 days, end of month', 60, 1);
INSERT INTO A01_CUSTOMERS (CUSTOMER_CODE, COMPANY_NAME, VAT_NUMBER, EMAIL, PAYMENT_TERM, CREDIT_LIMIT, IS_ACTIVE)
VALUES (N'C0001', N'Harbour Tools Ltd', N'GB123456789', N'  orders@harbour-tools.example ', N'R30', 5000, 1),
       (N'C0002', N'Greenfield Builders', N'GB987654321', N'purchasing@greenfield.example', N'R60EM', 20000, 1),
       (N'C0003', N'Lakeside Electrics', NULL, NULL, N'CASH', 0, 0);
INSERT INTO A01_ITEMS (ITEM_CODE, DESCRIPTION, UOM_CODE, VAT_CODE, LIST_PRICE, WEIGHT_KG)
VALUES (N'BOLT-M6', N'Hex bolt M6 x 30', N'PCS', N'22', 0.12, 0.01),
       (N'CABLE-3G15', N'Cable 3G1.5', N'M', N'22', 1.8, 0.12),
       (N'DRILL-500', N'Drill 500 W', N'PCS', N'22', 89.9, 1.9),
       (N'OIL-5', N'Machine oil', N'L', N'22', 4.5, NULL);
INSERT INTO A01_STOCK_MOVES (ITEM_CODE, QUANTITY, REASON)
VALUES (N'BOLT-M6', 5000, 'INI'), (N'CABLE-3G15', 800, 'INI'), (N'DRILL-500', 12, 'INI'), (N'OIL-5', 60, 'INI');
-- On the new database the orders get the numbers 1 and 2; the trigger sums their lines.
INSERT INTO A01_ORDERS (ORDER_NUMBER, CUSTOMER_ID, STATUS)
VALUES (N'ORD-0001', 1, 'D'), (N'ORD-0002', 2, 'O');
INSERT INTO A01_ORDER_LINES (ORDER_ID, LINE_NO, ITEM_CODE, QUANTITY, UNIT_PRICE, DISCOUNT_PCT, VAT_CODE)
VALUES (1, 1, N'BOLT-M6', 100, 0.12, 0, N'22'),
       (1, 2, N'CABLE-3G15', 25, 1.8, 10, N'22'),
       (2, 1, N'DRILL-500', 1, 89.9, 0, N'22');
GO

-- The registry: the system part is at 1.1.0, firm A01 still at 1.0.0, whose update queries (those of
-- Query_Example.xml under 1.0.0, text for text) ran. The queries of 1.1.0 are thus still due for
-- A01: a verify lists them as pending and an update plays them.
INSERT INTO SYS_DBS (SYS_DATABASE, SYS_VERSION, SYS_CREATION, SYS_COMPLETED, SYS_DATE, SYS_DCC)
VALUES (N'SYS', N'1.1.0', 1, 1, GETDATE(), CONVERT(nvarchar(128), DATABASEPROPERTYEX(DB_NAME(), 'Collation'))),
       (N'A01', N'1.0.0', 1, 1, GETDATE(), CONVERT(nvarchar(128), DATABASEPROPERTYEX(DB_NAME(), 'Collation')));
INSERT INTO SYS_QRY (QYDBE, QYTAC, QYVER, QYORD, QYDES, QYTXT, QYCHK)
VALUES (N'A01', 0, N'1.0.0', 1, N'Items without a VAT code take the standard rate',
        N'UPDATE [#FIRM#]ITEMS SET VAT_CODE = ''22'' WHERE VAT_CODE IS NULL', 1),
       (N'A01', 1, N'1.0.0', 1, N'Customers without a payment term pay in 30 days',
        N'UPDATE [#FIRM#]CUSTOMERS SET PAYMENT_TERM = ''R30'' WHERE PAYMENT_TERM IS NULL', 1);
GO
