#pragma once
// The translation between the frequency sheets of a programmed backup and the schedule fields of
// SQL Server Agent, both ways, and the tests that decide whether a sheet may be left. The Agent's
// schedule is the only store of a programmed backup.
#include "platform/odbc/recordset.h"

#include <QString>
#include <array>
#include <cstdint>
#include <vector>

namespace qldb::backup {

// A combo box as a value: its items with their ItemData, and the selected one (-1 for none).
struct ListChoice {
    struct Item {
        QString Text;
        int32_t ItemData = 0;
    };
    std::vector<Item> Items;
    int32_t ListIndex = -1;

    QString Text() const;
    int32_t SelectedData() const;
    // Selects the item with that ItemData; none when no item has it.
    void SelectData(int32_t lData);
};

// "Domenica" 1 ... "Sabato" 7: the values of ql_eMsSqlMonthFrequencyInterval.
std::vector<ListChoice::Item> DayItems();
// "Primo/a" 1, "Secondo/a" 2, "Terzo/a" 4, "Quarto/a" 8, "Ultimo/a" 16.
std::vector<ListChoice::Item> RelativeIntervalItems();

enum class Frequency : int32_t { None = -1, Daily = 0, Weekly = 1, Monthly = 2 };

// The controls of the frequency sheets, as plain values. Texts are in the Italian form that the
// entry masks produce: times "hh:mm" (also read: "h.mm.ss"), dates "dd/mm/yyyy".
struct ScheduleSheets {
    static constexpr int kDays = 7;
    // The weekly boxes in order Monday to Sunday, and their tags: the day bits of a weekly schedule.
    static const std::array<QString, kDays> kDayCaptions;
    static const std::array<QString, kDays> kDayTags;

    Frequency optFrequency = Frequency::None;
    std::array<QString, 3> txtTime; // daily, weekly, monthly
    QString txtStartDate;
    bool optEveryDaysParameter = false;
    bool optDayInterval = false;
    QString txtDaysInterval;
    QString txtWeeksInterval;
    std::array<int32_t, kDays> chkDay{}; // 1 ticked, 0 not
    bool optDay = false;
    QString txtDay;
    bool optMonthInterval = false;
    ListChoice cmbRelativeInterval{RelativeIntervalItems(), -1};
    ListChoice cmbDays{DayItems(), -1};
    QString txtMonthsInterval;
};

// The fields of sp_add_jobschedule and sp_update_jobschedule; 0 is "not set".
struct AgentSchedule {
    int32_t lFreqType = 0;
    int32_t lFreqInterval = 0;
    int32_t lFreqRelInterval = 0;
    int32_t lRecurrenceFactor = 0;
    int32_t lActiveStartDate = 0;
    int32_t lActiveStartTime = 0;
};

// Sheets to Agent. Daily (4) when the daily frequency is chosen, monthly (16 on a day number, 32
// relative) for the monthly one, weekly (8) otherwise. Only a daily schedule carries a start date.
// Raises qlException (13, type mismatch) for a time or date text that cannot be read.
AgentSchedule SetSchedulingParameters(const ScheduleSheets& sheets);

// Agent to sheets: the first row of sp_help_jobschedule (freq_type, freq_interval,
// freq_relative_interval, freq_recurrence_factor, active_start_date, active_start_time) goes
// into the controls of its sheet; the other sheets are left as they are. An unknown freq_type
// changes nothing.
void LoadSchedule(Recordset& rsSchedule, ScheduleSheets& sheets);

// The tests of each sheet: times and the start date present, intervals numbers above 0, at least
// one day ticked. No upper bound: the Agent refuses a day 32 itself.
bool AreDailyTextboxCorrect(const ScheduleSheets& sheets);
bool AreWeeklyTextboxCorrect(const ScheduleSheets& sheets);
bool AreMonthlyTextboxCorrect(const ScheduleSheets& sheets);

// "20240131" gives "31/01/2024", "93000" gives "9:30:00"; "0" (no date, no time) gives "-".
QString CreateDate(const QString& sDate);
QString CreateTime(const QString& sTime);

} // namespace qldb::backup
