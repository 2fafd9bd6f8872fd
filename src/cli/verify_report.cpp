#include "cli/verify_report.h"

#include <QJsonArray>

namespace qldb::cli {

bool VerifyReport::upToDate() const {
    for (const ReportedObject& object : Objects) {
        if (object.Status != kStatusUpToDate && object.Status != kStatusUserItemsOnly &&
            object.Status != kStatusUserObject)
            return false;
    }
    return true;
}

VerifyReport MakeReport(qlDatabase& database, const VariantArray2& ArrayTable, const QString& sStructure,
                        const QString& sPrefixTable, bool bRemovePrefix) {
    VerifyReport report;
    report.Structure = sStructure;
    report.Result = database.VerifyDatabaseResult();
    for (int32_t row = 1; row <= ArrayTable.UBound(2); ++row) {
        ReportedObject object;
        object.Name = ArrayTable(kObjectName, row).toString();
        object.Kind = ArrayTable(kObjectKind, row).toString();
        object.Status = ArrayTable(kObjectStatus, row).toInt();
        if (object.Kind == QLatin1String("T") &&
            (object.Status == kStatusToUpdate || object.Status == kStatusUserItemsOnly)) {
            // The run's list tells only that a table differs; its comparison tells where. Outside an
            // update mode the comparison changes nothing.
            VariantArray2 fields;
            bool removePrefix = bRemovePrefix;
            database.CheckTable(object.Name, fields, QDomNode(), sStructure, sPrefixTable, &removePrefix);
            for (int32_t f = 1; f <= fields.UBound(2); ++f) {
                object.Differences.push_back({fields(1, f).toString(), fields(2, f).toString(),
                                              fields(3, f).toString(), fields(4, f).toString(),
                                              fields(5, f).toString()});
            }
        }
        report.Objects.push_back(std::move(object));
    }
    return report;
}

QString KindWord(const QString& sKind) {
    static const std::pair<const char*, const char*> kinds[] = {
        {"T", "table"},   {"F", "function"}, {"V", "view"},    {"P", "procedure"},
        {"G", "trigger"}, {"D", "data"},     {"Q", "queries"},
    };
    for (const auto& [letter, word] : kinds)
        if (sKind == QLatin1String(letter))
            return QString::fromLatin1(word);
    return sKind;
}

QString StatusWord(int iStatus) {
    static const char* const words[] = {"up to date",      "to update",   "to create", "to delete",
                                        "user items only", "user object", "to rebuild"};
    return iStatus >= 0 && iStatus <= 6 ? QString::fromLatin1(words[iStatus]) : QString::number(iStatus);
}

QString ResultName(ql_eVerifyResult result) {
    static const char* const names[] = {
        "evrNotVerify",        "evrUpdateRequest",        "evrUpdateNotRequest",
        "evrUpdatedCorrectly", "evrUpdatedWithoutChange", "evrUpdatedWithErrors"};
    const auto index = static_cast<int>(result);
    return index >= 0 && index <= 5 ? QString::fromLatin1(names[index]) : QString::number(index);
}

void PrintReport(const VerifyReport& report, QTextStream& out) {
    int differing = 0;
    for (const ReportedObject& object : report.Objects) {
        out << KindWord(object.Kind).leftJustified(10) << ' ' << object.Name.leftJustified(40) << ' '
            << StatusWord(object.Status) << '\n';
        for (const ObjectDifference& d : object.Differences) {
            out << "    " << d.Element.leftJustified(30) << ' ' << d.ElementKind.leftJustified(11) << ' '
                << d.Status.leftJustified(22) << " database: " << d.DatabaseValue << "  file: " << d.FileValue
                << '\n';
        }
        if (object.Status != kStatusUpToDate && object.Status != kStatusUserItemsOnly &&
            object.Status != kStatusUserObject)
            ++differing;
    }
    out << '\n'
        << report.Objects.size() << " objects, " << differing << " differ from " << report.Structure << '\n';
}

QJsonObject ReportToJson(const VerifyReport& report) {
    QJsonArray objects;
    for (const ReportedObject& object : report.Objects) {
        QJsonObject item{{"kind", KindWord(object.Kind)},
                         {"name", object.Name},
                         {"status", object.Status},
                         {"statusText", StatusWord(object.Status)}};
        if (!object.Differences.empty()) {
            QJsonArray differences;
            for (const ObjectDifference& d : object.Differences)
                differences.append(QJsonObject{{"element", d.Element},
                                               {"elementKind", d.ElementKind},
                                               {"status", d.Status},
                                               {"database", d.DatabaseValue},
                                               {"file", d.FileValue}});
            item.insert(QStringLiteral("differences"), differences);
        }
        objects.append(item);
    }
    return QJsonObject{{"structure", report.Structure},
                       {"result", ResultName(report.Result)},
                       {"upToDate", report.upToDate()},
                       {"objects", objects}};
}

} // namespace qldb::cli
