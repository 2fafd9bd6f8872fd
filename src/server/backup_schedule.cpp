#include "server/backup_schedule.h"

#include "platform/errors/error_record.h"
#include "platform/tools/conversions.h"

#include <QRegularExpression>

namespace qldb::backup {

namespace {

constexpr int32_t kErrTypeMismatch = 13;

[[noreturn]] void ThrowTypeMismatch() {
    throw qlException(kErrTypeMismatch, QStringLiteral("frmBackup"), QStringLiteral("Type mismatch"));
}

// "hh:mm", "h:mm:ss" or "h.mm.ss" as the number hhmmss.
int32_t TimeNumber(const QString& sTime) {
    static const QRegularExpression form(
        QStringLiteral("^\\s*(\\d{1,2})[:.](\\d{1,2})(?:[:.](\\d{1,2}))?\\s*$"));
    const QRegularExpressionMatch m = form.match(sTime);
    if (!m.hasMatch())
        ThrowTypeMismatch();
    const int32_t h = m.captured(1).toInt(), n = m.captured(2).toInt(), s = m.captured(3).toInt();
    if (h > 23 || n > 59 || s > 59)
        ThrowTypeMismatch();
    return h * 10000 + n * 100 + s;
}

// "dd/mm/yyyy" (also with "-" or ".") as the number yyyymmdd.
int32_t DateNumber(const QString& sDate) {
    static const QRegularExpression form(QStringLiteral("^\\s*(\\d{1,2})[/.-](\\d{1,2})[/.-](\\d{4})\\s*$"));
    const QRegularExpressionMatch m = form.match(sDate);
    if (!m.hasMatch())
        ThrowTypeMismatch();
    const QDate date(m.captured(3).toInt(), m.captured(2).toInt(), m.captured(1).toInt());
    if (!date.isValid())
        ThrowTypeMismatch();
    return date.year() * 10000 + date.month() * 100 + date.day();
}

int32_t Number(const QString& s) {
    return ToLong(s.trimmed());
}

bool NumberAboveZero(const QString& s) {
    return IsNumericText(s) && ToDouble(s.trimmed()) > 0;
}

// The time field as the sheets show it: hours (all but the last four digits), minutes and seconds
// joined by "."; a time before one o'clock keeps a 0 for its hour.
QString SheetTime(const QVariant& v) {
    const QString digits = ToText(v).rightJustified(5, QLatin1Char('0'));
    return digits.left(digits.size() - 4) + QLatin1Char('.') + digits.mid(digits.size() - 4, 2) +
           QLatin1Char('.') + digits.right(2);
}

} // namespace

const std::array<QString, ScheduleSheets::kDays> ScheduleSheets::kDayCaptions = {
    QStringLiteral("Lunedì"),  QStringLiteral("Martedì"), QStringLiteral("Mercoledì"),
    QStringLiteral("Giovedì"), QStringLiteral("Venerdì"), QStringLiteral("Sabato"),
    QStringLiteral("Domenica")};
const std::array<QString, ScheduleSheets::kDays> ScheduleSheets::kDayTags = {
    QStringLiteral("2"),  QStringLiteral("4"),  QStringLiteral("8"), QStringLiteral("16"),
    QStringLiteral("32"), QStringLiteral("64"), QStringLiteral("1")};

QString ListChoice::Text() const {
    return ListIndex >= 0 && ListIndex < static_cast<int32_t>(Items.size()) ? Items[ListIndex].Text
                                                                            : QString();
}

int32_t ListChoice::SelectedData() const {
    return ListIndex >= 0 && ListIndex < static_cast<int32_t>(Items.size()) ? Items[ListIndex].ItemData : 0;
}

void ListChoice::SelectData(int32_t lData) {
    ListIndex = -1;
    for (size_t i = 0; i < Items.size(); ++i)
        if (Items[i].ItemData == lData)
            ListIndex = static_cast<int32_t>(i);
}

std::vector<ListChoice::Item> DayItems() {
    return {{QStringLiteral("Domenica"), 1},  {QStringLiteral("Lunedì"), 2},  {QStringLiteral("Martedì"), 3},
            {QStringLiteral("Mercoledì"), 4}, {QStringLiteral("Giovedì"), 5}, {QStringLiteral("Venerdì"), 6},
            {QStringLiteral("Sabato"), 7}};
}

std::vector<ListChoice::Item> RelativeIntervalItems() {
    return {{QStringLiteral("Primo/a"), 1},
            {QStringLiteral("Secondo/a"), 2},
            {QStringLiteral("Terzo/a"), 4},
            {QStringLiteral("Quarto/a"), 8},
            {QStringLiteral("Ultimo/a"), 16}};
}

AgentSchedule SetSchedulingParameters(const ScheduleSheets& s) {
    AgentSchedule a;
    if (s.optFrequency == Frequency::Daily) {
        a.lFreqType = 4;
        a.lActiveStartTime = TimeNumber(s.txtTime[0]);
        a.lActiveStartDate = DateNumber(s.txtStartDate);
        a.lFreqInterval = s.optEveryDaysParameter ? 1 : Number(s.txtDaysInterval);
    } else if (s.optFrequency == Frequency::Monthly) {
        if (s.optDay) {
            a.lFreqType = 16;
            a.lFreqInterval = Number(s.txtDay);
        } else {
            a.lFreqType = 32;
            a.lFreqInterval = s.cmbDays.SelectedData();
            a.lFreqRelInterval = s.cmbRelativeInterval.SelectedData();
        }
        a.lRecurrenceFactor = Number(s.txtMonthsInterval);
        a.lActiveStartTime = TimeNumber(s.txtTime[2]);
    } else {
        a.lFreqType = 8;
        a.lRecurrenceFactor = Number(s.txtWeeksInterval);
        for (int i = 0; i < ScheduleSheets::kDays; ++i)
            if (s.chkDay[i] == 1)
                a.lFreqInterval |= ScheduleSheets::kDayTags[i].toInt();
        a.lActiveStartTime = TimeNumber(s.txtTime[1]);
    }
    return a;
}

void LoadSchedule(Recordset& rs, ScheduleSheets& s) {
    const int32_t type = ToLong(rs.Value(QStringLiteral("freq_type")));
    const int32_t interval = ToLong(rs.Value(QStringLiteral("freq_interval")));
    const QString recurrence = ToText(rs.Value(QStringLiteral("freq_recurrence_factor")));
    const QString time = SheetTime(rs.Value(QStringLiteral("active_start_time")));
    switch (type) {
    case 4:
        s.optFrequency = Frequency::Daily;
        s.txtTime[0] = time;
        s.txtStartDate = CreateDate(ToText(rs.Value(QStringLiteral("active_start_date"))));
        s.optEveryDaysParameter = interval == 1;
        s.optDayInterval = interval != 1;
        if (interval != 1)
            s.txtDaysInterval = QString::number(interval);
        break;
    case 8:
        s.optFrequency = Frequency::Weekly;
        for (int i = 0; i < ScheduleSheets::kDays; ++i)
            s.chkDay[i] = (interval & ScheduleSheets::kDayTags[i].toInt()) != 0 ? 1 : 0;
        s.txtWeeksInterval = recurrence;
        s.txtTime[1] = time;
        break;
    case 16:
    case 32:
        s.optFrequency = Frequency::Monthly;
        s.optDay = type == 16;
        s.optMonthInterval = type == 32;
        if (type == 16) {
            s.txtDay = QString::number(interval);
        } else {
            s.cmbDays.SelectData(interval);
            s.cmbRelativeInterval.SelectData(ToLong(rs.Value(QStringLiteral("freq_relative_interval"))));
        }
        s.txtMonthsInterval = recurrence;
        s.txtTime[2] = time;
        break;
    default:
        break;
    }
}

bool AreDailyTextboxCorrect(const ScheduleSheets& s) {
    return !s.txtTime[0].isEmpty() && !s.txtStartDate.isEmpty() &&
           (!s.optDayInterval || NumberAboveZero(s.txtDaysInterval));
}

bool AreWeeklyTextboxCorrect(const ScheduleSheets& s) {
    bool anyDay = false;
    for (const int32_t v : s.chkDay)
        anyDay = anyDay || v == 1;
    return anyDay && !s.txtTime[1].isEmpty() && NumberAboveZero(s.txtWeeksInterval);
}

bool AreMonthlyTextboxCorrect(const ScheduleSheets& s) {
    return !s.txtTime[2].isEmpty() && NumberAboveZero(s.txtMonthsInterval) &&
           (!s.optDay || NumberAboveZero(s.txtDay));
}

QString CreateDate(const QString& sDate) {
    if (sDate == QLatin1String("0"))
        return QStringLiteral("-");
    return sDate.right(2) + QLatin1Char('/') + sDate.mid(4, 2) + QLatin1Char('/') + sDate.left(4);
}

// A time before one o'clock has fewer than five digits; it is read as if the hour's 0 were there,
// so that the hour is never empty.
QString CreateTime(const QString& sTime) {
    if (sTime == QLatin1String("0"))
        return QStringLiteral("-");
    const QString t = sTime.rightJustified(5, QLatin1Char('0'));
    return t.left(t.size() - 4) + QLatin1Char(':') + t.mid(t.size() - 4, 2) + QLatin1Char(':') + t.right(2);
}

} // namespace qldb::backup
