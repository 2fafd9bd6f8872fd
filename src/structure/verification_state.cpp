// The state a verification run keeps between its steps and between runs: the stored list of
// objects, the selection test, the options applied to the statuses, and the run's result.
#include "structure/ql_database.h"

namespace qldb {

namespace {

int32_t Status(const VariantArray2& list, int32_t row) {
    return list(kObjectStatus, row).toInt();
}

QString Kind(const VariantArray2& list, int32_t row) {
    return list(kObjectKind, row).toString();
}

} // namespace

bool qlDatabase::IsUpdateMode(const QString& sObject) const {
    bool selected = m_autoUpdate;
    if (!selected && m_objectDefinition.UBound(2) >= 1) {
        const QString wanted = sObject.toUpper();
        for (int32_t row = 1; row <= m_objectDefinition.UBound(2) && !selected; ++row) {
            selected = m_objectDefinition(kObjectSelected, row).toBool() &&
                       m_objectDefinition(kObjectName, row).toString().toUpper() == wanted;
        }
    }
    // Any error reported in the run ends every further change of the run.
    if (ErrorCount() > 0)
        return false;
    switch (m_verifyDatabaseMode) {
    case ql_eVerifyMode::UpdateModality:
        return selected;
    case ql_eVerifyMode::CreateModality:
    case ql_eVerifyMode::HistoryModality:
    case ql_eVerifyMode::DeleteModality:
        return true;
    default:
        return false;
    }
}

void qlDatabase::CheckOptions(VariantArray2& ArrayTable) const {
    const int32_t rows = ArrayTable.UBound(2);
    const auto each = [&](const std::function<void(int32_t)>& fn) {
        for (int32_t row = 1; row <= rows; ++row)
            fn(row);
    };
    if (m_deleteObjects) {
        each([&](int32_t row) {
            if (Status(ArrayTable, row) == kStatusUserObject)
                ArrayTable(kObjectStatus, row) = kStatusToDelete;
        });
    }
    if (m_deleteFields) {
        each([&](int32_t row) {
            if (Status(ArrayTable, row) == kStatusUserItemsOnly)
                ArrayTable(kObjectStatus, row) = kStatusToUpdate;
        });
    }
    const auto rebuild = [&](const QString& kind) {
        each([&](int32_t row) {
            const int32_t status = Status(ArrayTable, row);
            if (Kind(ArrayTable, row) == kind && status != kStatusUserObject && status != kStatusUpToDate)
                ArrayTable(kObjectStatus, row) = kStatusToRebuild;
        });
    };
    if (m_rebuildViews)
        rebuild(QStringLiteral("V"));
    if (m_rebuildProcedures) {
        rebuild(QStringLiteral("F"));
        rebuild(QStringLiteral("P"));
    }
}

void qlDatabase::SetObjectDefinition(const VariantArray2& source, VariantArray2& target) {
    if (source.UBound(1) == 0 || source.UBound(2) == 0)
        return;
    target = source;
}

void qlDatabase::SetVerifyDatabaseResult() {
    bool pending = false;
    for (int32_t row = 1; row <= m_objectDefinition.UBound(2) && !pending; ++row) {
        const int32_t status = Status(m_objectDefinition, row);
        pending = status != kStatusUpToDate && status != kStatusUserItemsOnly && status != kStatusUserObject;
    }
    const auto mode = static_cast<int32_t>(m_verifyDatabaseMode);
    if (m_verifyDatabaseResult != ql_eVerifyResult::evrUpdatedWithErrors) {
        if (pending)
            m_verifyDatabaseResult = ql_eVerifyResult::evrUpdateRequest;
        else if (mode >= 1 && mode <= 4)
            m_verifyDatabaseResult = m_noChange ? ql_eVerifyResult::evrUpdatedWithoutChange
                                                : ql_eVerifyResult::evrUpdatedCorrectly;
        else if (mode == 0)
            m_verifyDatabaseResult = ql_eVerifyResult::evrUpdateRequest;
    }
    // The value 5 goes into the mode, not into the result: it stops every update behaviour of the
    // object until the host sets a mode again.
    if (ErrorCount() > 0)
        m_verifyDatabaseMode = static_cast<ql_eVerifyMode>(5);
}

} // namespace qldb
