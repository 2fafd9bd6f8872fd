#include "connection_fixture.h"
#include "platform/configuration.h"

#include <QDir>
#include <QFile>
#include <gmock/gmock.h>

namespace qldb::test {
namespace {

using ::testing::_;
using ::testing::Eq;
using ::testing::Return;
using ::testing::Throw;

class MockForm : public IForm {
public:
    MOCK_METHOD(void, Show, (int32_t modal, std::optional<IForm*> owner), (override));
};

class MockFormsHandler : public IFormsHandler {
public:
    MOCK_METHOD(QVariant, NewModal, (IForm * fToShow, IForm* fOwner, bool AsRoot), (override));
    MOCK_METHOD(QVariant, NewModeless, (IForm * fToShow, IForm* fOwner, bool AsRoot), (override));
};

using Frame = ConnectionTest;

TEST_F(Frame, ShowFormThroughTheFormsHandler) {
    auto handler = std::make_shared<MockFormsHandler>();
    conn->setFormsHandler(handler);
    MockForm form, owner;
    // No owner: modeless whatever the show type.
    EXPECT_CALL(*handler, NewModeless(&form, nullptr, true)).WillOnce(Return(QVariant(5)));
    EXPECT_FALSE(conn->ShowForm(&form, nullptr, 1, true).isValid());
    EXPECT_CALL(*handler, NewModeless(&form, &owner, false));
    conn->ShowForm(&form, &owner, 0);
    EXPECT_CALL(*handler, NewModal(&form, &owner, false));
    conn->ShowForm(&form, &owner, 2);
    EXPECT_TRUE(errors->reports().empty());
}

TEST_F(Frame, ShowFormWithoutFormsHandler) {
    MockForm form, owner;
    EXPECT_CALL(form, Show(1, Eq(std::nullopt))).Times(2);
    conn->ShowForm(&form, nullptr, 1);
    conn->ShowForm(&form, &owner, 1);
    // The owner reaches Show only when it is empty; a set owner is dropped.
    EXPECT_CALL(form, Show(0, Eq(std::optional<IForm*>(nullptr))));
    conn->ShowForm(&form, nullptr, 0);
    EXPECT_CALL(form, Show(0, Eq(std::nullopt)));
    conn->ShowForm(&form, &owner, 3);
}

TEST_F(Frame, ShowFormReportsFailures) {
    auto handler = std::make_shared<MockFormsHandler>();
    conn->setFormsHandler(handler);
    MockForm form;
    EXPECT_CALL(*handler, NewModeless(_, _, _))
        .WillOnce(Throw(qlException(kErrGeneral, QStringLiteral("Host"), QStringLiteral("no window"))))
        .WillOnce(Return(QVariant()));
    errors->queueDecisions({kDecisionRepeat});
    EXPECT_FALSE(conn->ShowForm(&form, nullptr, 0).isValid());
    ASSERT_EQ(errors->reports().size(), 1u);
    EXPECT_EQ(errors->reports()[0].Class, "qlConnection");
    EXPECT_EQ(errors->reports()[0].Routine, "ShowForm");
    EXPECT_EQ(errors->reports()[0].Error.Description, "no window");
}

TEST_F(Frame, FinalizeClosesReleasesAndToleratesAFailingClose) {
    EXPECT_EQ(conn->State(), 1);
    conn->Finalize();
    EXPECT_EQ(db->trace(), QStringList{"Close"});
    EXPECT_EQ(conn->ADODBConnection(), nullptr);
    EXPECT_EQ(conn->Errors(), nullptr);
    // Unusable afterwards: a clear object error, no crash.
    try {
        conn->State();
        FAIL() << "State after Finalize";
    } catch (const qlException& e) {
        EXPECT_EQ(e.number(), kErrObjectNotSet);
    }
    EXPECT_THROW(conn->Execute(QStringLiteral("SELECT 1")), qlException);

    auto other = std::make_shared<ScriptedConnection>();
    other->setOpen(true);
    other->failClose(ProviderError(kErrGeneral, QStringLiteral("link down")));
    qlConnection c;
    c.setADODBConnection(other);
    c.setErrors(errors);
    c.Finalize();
    EXPECT_EQ(c.ADODBConnection(), nullptr);
    EXPECT_EQ(c.Errors(), nullptr);
    EXPECT_TRUE(errors->reports().empty());

    // A closed connection is not closed again.
    auto closed = std::make_shared<ScriptedConnection>();
    qlConnection d;
    d.setADODBConnection(closed);
    d.Finalize();
    EXPECT_TRUE(closed->calls().empty());
}

// Class start: the product setting first, then Mirando.ini's global key when it is a number.
class ClassStart : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_root.isValid());
        setProductRoot(m_root.path());
    }
    void TearDown() override { setProductRoot(QString()); }
    void writeIni(const QByteArray& text) {
        const QString folder = ProductFolder(QStringLiteral("Config"));
        ASSERT_TRUE(QDir().mkpath(folder));
        QFile f(folder + QStringLiteral("/Mirando.ini"));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
    }
    bool readUncommitted() { return qlConnection().ReadUncommitted(); }

    QTemporaryDir m_root;
};

TEST_F(ClassStart, ReadUncommittedFromSettingAndGlobalFile) {
    // Neither folder nor file: the default "0", no error.
    EXPECT_FALSE(readUncommitted());
    WriteSetting(QStringLiteral("ReadUncommitted"), QStringLiteral("1"));
    EXPECT_TRUE(readUncommitted());
    writeIni("[DATABASE]\r\nGlobalReadUncommitted=0\r\n");
    EXPECT_FALSE(readUncommitted());
    writeIni("[DATABASE]\r\nGlobalReadUncommitted=yes\r\n");
    EXPECT_TRUE(readUncommitted());
    writeIni("[OTHER]\r\nGlobalReadUncommitted=0\r\n");
    EXPECT_TRUE(readUncommitted());
    WriteSetting(QStringLiteral("ReadUncommitted"), QStringLiteral("0"));
    writeIni("[database]\r\nglobalreaduncommitted=2\r\n");
    EXPECT_TRUE(readUncommitted());

    qlConnection c;
    EXPECT_EQ(c.SqlNativeClient(), ql_eNativeClients::SQLNativeClientOff);
    ASSERT_NE(c.ADODBConnection(), nullptr);
    EXPECT_EQ(c.State(), 0);
}

} // namespace
} // namespace qldb::test
