#include "mssql_fixture.h"
#include "server/backup_schedule.h"

namespace qldb::backup {
namespace {

using Fields = std::array<int32_t, 6>; // type, interval, relative interval, recurrence, start date, time

Fields Of(const AgentSchedule& a) {
    return {a.lFreqType,         a.lFreqInterval,    a.lFreqRelInterval,
            a.lRecurrenceFactor, a.lActiveStartDate, a.lActiveStartTime};
}

// The sheets as the wizard leaves them: every time box filled, so that reading the wrong one shows,
// and a start date that only a daily schedule carries.
ScheduleSheets Sheets(Frequency f, const QString& date = "31/01/2024") {
    ScheduleSheets s;
    s.optFrequency = f;
    s.txtTime = {"09:30", "22:00", "23:15"};
    s.txtStartDate = date;
    return s;
}
ScheduleSheets Daily(bool everyDay, const QString& interval, const QString& date = "31/01/2024") {
    ScheduleSheets s = Sheets(Frequency::Daily, date);
    s.optEveryDaysParameter = everyDay;
    s.optDayInterval = !everyDay;
    s.txtDaysInterval = interval;
    return s;
}
ScheduleSheets Weekly(std::array<int32_t, 7> days, const QString& weeks) {
    ScheduleSheets s = Sheets(Frequency::Weekly);
    s.chkDay = days;
    s.txtWeeksInterval = weeks;
    return s;
}
ScheduleSheets Monthly(bool onDay, const QString& day, int32_t weekday, int32_t which,
                       const QString& months) {
    ScheduleSheets s = Sheets(Frequency::Monthly);
    s.optDay = onDay;
    s.optMonthInterval = !onDay;
    s.txtDay = day;
    s.cmbDays.SelectData(weekday);
    s.cmbRelativeInterval.SelectData(which);
    s.txtMonthsInterval = months;
    return s;
}

TEST(BackupSchedule, SheetsToAgentAndBack) {
    const std::tuple<const char*, ScheduleSheets, Fields> cases[] = {
        // "Ogni Giorno" wins over whatever the interval box holds.
        {"every day", Daily(true, "7"), {4, 1, 0, 0, 20240131, 93000}},
        {"every 3 days", Daily(false, "3"), {4, 3, 0, 0, 20240131, 93000}},
        {"Monday and Sunday", Weekly({1, 0, 0, 0, 0, 0, 1}, "1"), {8, 3, 0, 1, 0, 220000}},
        {"Mon-Sat every 2 weeks", Weekly({1, 1, 1, 1, 1, 1, 0}, "2"), {8, 126, 0, 2, 0, 220000}},
        {"day 15 every month", Monthly(true, "15", 0, 0, "1"), {16, 15, 0, 1, 0, 231500}},
        {"third Friday every two months", Monthly(false, "", 6, 4, "2"), {32, 6, 4, 2, 0, 231500}},
    };
    for (const auto& [name, sheets, agent] : cases) {
        EXPECT_EQ(Of(SetSchedulingParameters(sheets)), agent) << name;
        // The first row of sp_help_jobschedule onto blank sheets, and forward again: the same fields.
        Recordset row = test::ScriptedConnection::Table(
            {"freq_type", "freq_interval", "freq_relative_interval", "freq_recurrence_factor",
             "active_start_date", "active_start_time"},
            {{agent[0], agent[1], agent[2], agent[3], agent[4], agent[5]}});
        ScheduleSheets loaded;
        LoadSchedule(row, loaded);
        EXPECT_EQ(loaded.optFrequency, sheets.optFrequency) << name;
        EXPECT_EQ(Of(SetSchedulingParameters(loaded)), agent) << name;
    }
    // A time or date the sheet cannot read is a type mismatch.
    for (const auto& [time, date] :
         {std::pair{"25:00", "31/01/2024"}, {"09:30", "31/02/2024"}, {"09:30", ""}}) {
        ScheduleSheets s = Daily(true, "", date);
        s.txtTime[0] = time;
        EXPECT_TRUE(test::Raised([&] { SetSchedulingParameters(s); }).startsWith("13 "))
            << time << " " << date;
    }
}

TEST(BackupSchedule, SheetTests) {
    const std::tuple<const char*, bool (*)(const ScheduleSheets&), ScheduleSheets, bool> cases[] = {
        {"every day", AreDailyTextboxCorrect, Daily(true, ""), true},
        {"every 0 days", AreDailyTextboxCorrect, Daily(false, "0"), false},
        {"no start date", AreDailyTextboxCorrect, Daily(true, "", ""), false},
        {"no day ticked", AreWeeklyTextboxCorrect, Weekly({}, "1"), false},
        {"Wednesday", AreWeeklyTextboxCorrect, Weekly({0, 0, 1}, "1"), true},
        {"every 0 weeks", AreWeeklyTextboxCorrect, Weekly({0, 0, 1}, "0"), false},
        // No upper bound on the day: the Agent judges it.
        {"day 32", AreMonthlyTextboxCorrect, Monthly(true, "32", 0, 0, "1"), true},
        {"no day", AreMonthlyTextboxCorrect, Monthly(true, "", 0, 0, "1"), false},
        {"no months", AreMonthlyTextboxCorrect, Monthly(false, "", 6, 4, ""), false},
    };
    for (const auto& [name, test, sheets, correct] : cases)
        EXPECT_EQ(test(sheets), correct) << name;
}

} // namespace
} // namespace qldb::backup
