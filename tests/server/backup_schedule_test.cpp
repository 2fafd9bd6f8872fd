#include "platform/errors/error_record.h"
#include "server/backup_schedule.h"
#include "support/scripted_connection.h"

#include <gtest/gtest.h>
#include <ostream>

inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace qldb::backup {

bool operator==(const AgentSchedule& a, const AgentSchedule& b) {
    return a.lFreqType == b.lFreqType && a.lFreqInterval == b.lFreqInterval &&
           a.lFreqRelInterval == b.lFreqRelInterval && a.lRecurrenceFactor == b.lRecurrenceFactor &&
           a.lActiveStartDate == b.lActiveStartDate && a.lActiveStartTime == b.lActiveStartTime;
}
std::ostream& operator<<(std::ostream& os, const AgentSchedule& a) {
    return os << a.lFreqType << "/" << a.lFreqInterval << "/" << a.lFreqRelInterval << "/"
              << a.lRecurrenceFactor << "/" << a.lActiveStartDate << "/" << a.lActiveStartTime;
}

namespace {

ScheduleSheets Daily(bool everyDay, const QString& interval) {
    ScheduleSheets s;
    s.optFrequency = Frequency::Daily;
    s.txtTime[0] = "09:30";
    s.txtStartDate = "31/01/2024";
    s.optEveryDaysParameter = everyDay;
    s.optDayInterval = !everyDay;
    s.txtDaysInterval = interval;
    return s;
}
ScheduleSheets Weekly(std::array<int32_t, 7> days, const QString& weeks) {
    ScheduleSheets s;
    s.optFrequency = Frequency::Weekly;
    s.txtTime[1] = "22:00";
    s.chkDay = days;
    s.txtWeeksInterval = weeks;
    return s;
}
ScheduleSheets Monthly(bool onDay, const QString& day, int32_t weekday, int32_t which,
                       const QString& months) {
    ScheduleSheets s;
    s.optFrequency = Frequency::Monthly;
    s.txtTime[2] = "23:15";
    s.optDay = onDay;
    s.optMonthInterval = !onDay;
    s.txtDay = day;
    s.cmbDays.SelectData(weekday);
    s.cmbRelativeInterval.SelectData(which);
    s.txtMonthsInterval = months;
    return s;
}

Recordset ScheduleRow(const AgentSchedule& a) {
    return test::ScriptedConnection::Table({"freq_type", "freq_interval", "freq_relative_interval",
                                            "freq_recurrence_factor", "active_start_date",
                                            "active_start_time"},
                                           {{a.lFreqType, a.lFreqInterval, a.lFreqRelInterval,
                                             a.lRecurrenceFactor, a.lActiveStartDate, a.lActiveStartTime}});
}

TEST(BackupSchedule, SheetsToAgentAndBack) {
    struct Case {
        const char* name;
        ScheduleSheets sheets;
        AgentSchedule agent;
    };
    const Case cases[] = {
        // "Ogni Giorno" wins over whatever the interval box holds.
        {"every day", Daily(true, "7"), {4, 1, 0, 0, 20240131, 93000}},
        {"every 3 days", Daily(false, "3"), {4, 3, 0, 0, 20240131, 93000}},
        {"Monday and Sunday", Weekly({1, 0, 0, 0, 0, 0, 1}, "1"), {8, 3, 0, 1, 0, 220000}},
        {"Mon-Sat every 2 weeks", Weekly({1, 1, 1, 1, 1, 1, 0}, "2"), {8, 126, 0, 2, 0, 220000}},
        {"day 15 every month", Monthly(true, "15", 0, 0, "1"), {16, 15, 0, 1, 0, 231500}},
        // The third Friday every two months: no start date, so no @active_start_date.
        {"third Friday", Monthly(false, "", 6, 4, "2"), {32, 6, 4, 2, 0, 231500}},
        {"last Sunday", Monthly(false, "", 1, 16, "12"), {32, 1, 16, 12, 0, 231500}},
    };
    for (const Case& c : cases) {
        const AgentSchedule agent = SetSchedulingParameters(c.sheets);
        EXPECT_EQ(agent, c.agent) << c.name;
        // Back onto blank sheets, and forward again: the same Agent fields.
        ScheduleSheets loaded;
        Recordset row = ScheduleRow(agent);
        LoadSchedule(row, loaded);
        EXPECT_EQ(loaded.optFrequency, c.sheets.optFrequency) << c.name;
        EXPECT_EQ(SetSchedulingParameters(loaded), c.agent) << c.name;
    }
}

TEST(BackupSchedule, WhatTheSheetsShowAfterLoading) {
    ScheduleSheets s;
    Recordset daily = ScheduleRow({4, 3, 0, 0, 20240131, 93000});
    LoadSchedule(daily, s);
    EXPECT_EQ((QStringList{s.txtTime[0], s.txtStartDate, s.txtDaysInterval}),
              (QStringList{"9.30.00", "31/01/2024", "3"}));
    EXPECT_TRUE(s.optDayInterval && !s.optEveryDaysParameter);
    Recordset monthly = ScheduleRow({32, 6, 4, 2, 0, 500});
    LoadSchedule(monthly, s);
    EXPECT_EQ(
        (QStringList{s.cmbDays.Text(), s.cmbRelativeInterval.Text(), s.txtMonthsInterval, s.txtTime[2]}),
        (QStringList{"Venerdì", "Terzo/a", "2", "0.05.00"}));
    Recordset weekly = ScheduleRow({8, 65, 0, 1, 0, 0});
    LoadSchedule(weekly, s);
    EXPECT_EQ(s.chkDay, (std::array<int32_t, 7>{0, 0, 0, 0, 0, 1, 1})); // Saturday and Sunday
}

TEST(BackupSchedule, UnreadableTimeOrDateIsATypeMismatch) {
    for (const auto& [time, date] :
         {std::pair{"9h30", "31/01/2024"}, {"25:00", "31/01/2024"}, {"09:30", "31/02/2024"}, {"09:30", ""}}) {
        ScheduleSheets s = Daily(true, "");
        s.txtTime[0] = time;
        s.txtStartDate = date;
        try {
            SetSchedulingParameters(s);
            ADD_FAILURE() << time << " " << date;
        } catch (const qlException& e) {
            EXPECT_EQ(e.number(), 13);
        }
    }
}

TEST(BackupSchedule, SheetTests) {
    EXPECT_TRUE(AreDailyTextboxCorrect(Daily(true, "")));
    EXPECT_FALSE(AreDailyTextboxCorrect(Daily(false, "0")));
    EXPECT_FALSE(AreDailyTextboxCorrect(Daily(false, "x")));
    ScheduleSheets noDate = Daily(true, "");
    noDate.txtStartDate.clear();
    EXPECT_FALSE(AreDailyTextboxCorrect(noDate));
    // No day ticked: the sheet cannot be left.
    EXPECT_FALSE(AreWeeklyTextboxCorrect(Weekly({}, "1")));
    EXPECT_TRUE(AreWeeklyTextboxCorrect(Weekly({0, 0, 1}, "1")));
    EXPECT_FALSE(AreWeeklyTextboxCorrect(Weekly({0, 0, 1}, "0")));
    // No upper bound on the day: the Agent judges it.
    EXPECT_TRUE(AreMonthlyTextboxCorrect(Monthly(true, "32", 0, 0, "1")));
    EXPECT_FALSE(AreMonthlyTextboxCorrect(Monthly(true, "", 0, 0, "1")));
    EXPECT_TRUE(AreMonthlyTextboxCorrect(Monthly(false, "", 6, 4, "1")));
    EXPECT_FALSE(AreMonthlyTextboxCorrect(Monthly(false, "", 6, 4, "")));
}

TEST(BackupSchedule, DatesAndTimesOfTheListing) {
    EXPECT_EQ(CreateDate("20240131"), "31/01/2024");
    EXPECT_EQ(CreateDate("0"), "-");
    EXPECT_EQ(CreateTime("93000"), "9:30:00");
    EXPECT_EQ(CreateTime("221505"), "22:15:05");
    EXPECT_EQ(CreateTime("3000"), "0:30:00");
    EXPECT_EQ(CreateTime("0"), "-");
}

} // namespace
} // namespace qldb::backup
