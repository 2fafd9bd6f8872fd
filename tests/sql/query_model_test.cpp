#include "sql/ql_query_constructor.h"
#include "sql_test_support.h"

using namespace qldb;
using T = ql_eDataType;

namespace {

void ExpectDuplicate(const ErrorRecord& error, const QString& source, const QString& description) {
    EXPECT_EQ(error.Number, static_cast<int32_t>(0x80040001u));
    EXPECT_EQ(error.Source, source);
    EXPECT_EQ(error.Description, description);
}

} // namespace

TEST(QueryModelTest, DuplicatesRaiseWithTheirTextsAndLeaveTheArray) {
    qlQueryConstructor q;
    const QString addField = "Database.QueryConstructor.AddField";
    const QString duplicated = "Duplicated element!";

    EXPECT_EQ(q.AddCreateField("A", T::TypeInt), 0);
    EXPECT_EQ(q.AddCreateField("B", T::TypeChar, 10), 1);
    ExpectDuplicate(test::RaisedBy([&] { q.AddCreateField("B", T::TypeInt); }), addField, duplicated);
    ExpectDuplicate(test::RaisedBy([&] { q.AddSelectField("A"); }), addField, duplicated);
    ExpectDuplicate(test::RaisedBy([&] { q.AddUpdateField("A", 1, T::TypeInt); }), addField,
                    "Field: A - Error: Duplicated element!");
    ExpectDuplicate(test::RaisedBy([&] { q.AddProcedureParam("A", 1, T::TypeInt); }),
                    "Database.QueryConstructor.AddProcedureParam", duplicated);
    EXPECT_EQ(q.GetFieldsCount(), 1);
    EXPECT_EQ(q.Fields(1).FieldType, T::TypeChar);

    q.AddOrderBy("A");
    ExpectDuplicate(test::RaisedBy([&] { q.AddOrderBy("A", ql_eOrder::Order_DESC); }), addField, duplicated);
    q.AddDropIndex("IX");
    ExpectDuplicate(test::RaisedBy([&] { q.AddIndex("IX", "T", {}); }), addField, duplicated);

    // Names that differ only in case are different elements.
    EXPECT_EQ(q.AddSelectField("a"), 2);
    EXPECT_EQ(q.AddDropIndex("ix"), 1);
}

TEST(QueryModelTest, OverwriteKeepsIndexCountAndTheUntouchedParts) {
    qlQueryConstructor q;
    ql_tField full{
        "A", T::TypeVarChar,        20,         true, "('x')", "comment", true, "Latin1_General_CI_AS",
        "v", ql_eOrder::Order_DESC, T::TypeMemo};
    q.AddCreateField("Z", T::TypeInt);
    // AddField reports 0 whatever the index.
    EXPECT_EQ(q.AddField(full), 0);

    EXPECT_EQ(q.AddUpdateField("A", 5, T::TypeInt, true), 1);
    EXPECT_EQ(q.GetFieldsCount(), 1);
    ql_tField a = q.Fields(1);
    EXPECT_EQ(a.FieldType, T::TypeInt);
    EXPECT_EQ(a.Value.toInt(), 5);
    EXPECT_EQ(a.Size, 20);
    EXPECT_EQ(a.Collate, QString("Latin1_General_CI_AS"));

    EXPECT_EQ(q.AddCreateField("A", T::TypeChar, 3, "new", false, true), 1);
    a = q.Fields(1);
    EXPECT_EQ(a.Size, 3);
    EXPECT_FALSE(a.KeyField);
    EXPECT_EQ(a.Value.toInt(), 5) << "the value of the overwritten element stays";
    EXPECT_EQ(q.AddField(ql_tField{.FieldName = "A"}, true), 0);
    EXPECT_EQ(q.Fields(1).Size, 0) << "AddField writes the whole record";

    std::vector<ql_tField> columns{ql_tField{.FieldName = "C1"}};
    EXPECT_EQ(q.AddIndex("IX", "T", columns, true, ql_eOrder::Order_DESC), 0);
    EXPECT_EQ(q.AddDropIndex("IX", true), 0);
    EXPECT_TRUE(q.Indexes(0).Unique) << "AddDropIndex writes the name only";
    EXPECT_EQ(q.Indexes(0).Fields.size(), 1u);
}

TEST(QueryModelTest, AccessorsBoundsAndLookups) {
    qlQueryConstructor q;
    EXPECT_EQ(q.GetFieldsCount(), -1);
    const ErrorRecord bounds = test::RaisedBy([&] { q.Fields(0); });
    EXPECT_EQ(bounds.Number, kErrSubscript);
    EXPECT_EQ(bounds.Description, QString("Subscript out of range"));
    EXPECT_EQ(test::RaisedBy([&] { q.OrderBy(-1); }).Number, kErrSubscript);
    // Writes outside the array are ignored, also into an empty one.
    q.setFields(0, ql_tField{.FieldName = "X"});
    EXPECT_EQ(q.GetFieldsCount(), -1);

    q.AddSelectField("A");
    q.AddSelectField("B");
    q.setFields(2, ql_tField{.FieldName = "X"});
    q.setFields(1, ql_tField{.FieldName = "C", .FieldType = T::TypeDbl});
    EXPECT_EQ(q.FieldsList(", ", "t."), QString("t.A, t.C"));
    EXPECT_EQ(q.FieldByName("C").FieldType, T::TypeDbl);
    EXPECT_EQ(q.FieldByName("c").FieldName, QString()) << "the lookup is case-sensitive";

    // The separator goes in only once there is text, so a leading empty name adds nothing.
    qlQueryConstructor blanks;
    blanks.AddSelectField("");
    blanks.AddSelectField("X");
    EXPECT_EQ(blanks.FieldsList(), QString("X"));
    EXPECT_EQ(q.GetDataTypeFromString("Counter"), T::TypeCounter);
    EXPECT_EQ(q.GetDataTypeFromString("varchar"), T::TypeChar);
}

TEST(QueryModelTest, ResetKeepsProviderAndObjectNames) {
    qlQueryConstructor q;
    q.setProviderType(ql_eProviderType::MySql);
    q.setTriggerName("TR_X");
    q.SetTable("T", "A01");
    q.AddSelectField("A");
    q.AddOrderBy("A");
    q.AddDropIndex("IX");
    q.setWhereString("WHERE 1=1");
    const auto oldWhere = q.WhereConditions();
    oldWhere->AddField("A", T::TypeInt, ql_eAritmeticOperator::OperatorEqual, {1});

    q.Reset();
    EXPECT_EQ(q.GetFieldsCount(), -1);
    EXPECT_EQ(q.Tables().Prefix, QString());
    EXPECT_EQ(q.WhereString(), QString());
    EXPECT_THROW(q.OrderBy(0), qlException);
    EXPECT_THROW(q.Indexes(0), qlException);
    ASSERT_NE(q.WhereConditions(), nullptr);
    EXPECT_NE(q.WhereConditions(), oldWhere) << "a new tree, not the old one emptied";
    EXPECT_FALSE(q.WhereConditions()->ContainData());
    EXPECT_EQ(q.ProviderType(), ql_eProviderType::MySql);
    EXPECT_EQ(q.MakeQuery(ql_eQueryType::DropTrigger), QString("DROP TRIGGER TR_X"));
}

TEST(QueryModelTest, RemoveUpdateField) {
    qlQueryConstructor q;
    EXPECT_EQ(q.RemoveUpdateField("A"), -1);
    for (const char* name : {"A", "B", "C", "D"})
        q.AddUpdateField(name, 1, T::TypeInt);
    EXPECT_EQ(q.RemoveUpdateField("X"), -1);
    EXPECT_EQ(q.RemoveUpdateField("B"), 1);
    EXPECT_EQ(q.RemoveUpdateField("D"), 2);
    EXPECT_EQ(q.FieldsList(), QString("A,C"));
    // From two fields the list empties, whichever is removed.
    EXPECT_EQ(q.RemoveUpdateField("C"), 1);
    EXPECT_EQ(q.GetFieldsCount(), -1);
    EXPECT_EQ(q.AddUpdateField("A", 1, T::TypeInt), 0) << "the emptied list takes new fields";
}
