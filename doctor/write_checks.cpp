#include "doctor/doctor.h"
#include "doctor/elements.h"
#include "doctor/interruption.h"
#include "store/connection.h"

#include <cstdint>

namespace
{

// The scratch leaf as it was before the first write.
Leaf original;

struct Outcome {
    int result;
    api_status_t status; // 0 if the library does not fill it
};

bool succeeded(const Outcome& outcome)
{
    return outcome.result == 0 && outcome.status == status_success;
}

// Writes the leaf with the same call as a save uses for a mirror.
Outcome write_leaf(toolkit::CCds& store, const char* path, const toolkit::CElement& value)
{
    Outcome outcome = {0, 0};
    outcome.result = store.set_leaf(path, value, outcome.status, setting_flag, "");
    return outcome;
}

bool holds(const Leaf& leaf, const toolkit::CElement& value)
{
    return is_readable(leaf) && same_element(leaf.element, value);
}

void report_difference(const char* what, const toolkit::CElement& written, const Leaf& read)
{
    constexpr char advice[] = "Correct the store. It would not hold what a technician enters.";
    const std::size_t size = text_of(read.element).size();
    const std::size_t wanted = text_of(written).size();
    if (!is_readable(read))
        report(wrong, "%s cannot be read back: result %d, status %d\n%s", what, read.result,
               read.status, advice);
    else if (size != wanted && read.element.type() == written.type())
        report(wrong, "%s comes back with %zu of %zu bytes\n%s", what, size, wanted, advice);
    else
        report(wrong, "%s comes back as %s: %s\n%s", what, type_name(read.element.type()),
               shown(read.element).text, advice);
}

// Replaces the connection with a new connection, which has no cached values yet.
void reconnect()
{
    cds_disconnect();
    cds_connect();
}

void judge_read_back(const char* path, const char* what, const toolkit::CElement& value)
{
    const Leaf read = read_leaf(path);
    if (holds(read, value)) {
        report(ok, "%s is written and read back", what);
        return;
    }
    reconnect();
    if (holds(read_leaf(path), value))
        report(wrong,
               "reads come from a cache: only a new connection reads %s back\n"
               "Turn the cache off. The screens show old values until the utility starts again.",
               what);
    else
        report_difference(what, value, read);
}

struct SampleWrite {
    char what[22];
    Sample sample;
};

constexpr SampleWrite sample_writes[] = {
    {"a string", Sample::string},
    {"an integer", Sample::integer},
    {"a boolean", Sample::boolean_true},
    {"the empty string", Sample::empty},
    {"a string of 300 bytes", Sample::long_string},
};

void check_value(const char* path, const SampleWrite& row)
{
    begin_check(row.what);
    const toolkit::CElement value = element_of_sample(row.sample);
    const Outcome outcome = write_leaf(cds(), path, value);
    if (succeeded(outcome))
        judge_read_back(path, row.what, value);
    else
        report(wrong,
               "%s cannot be written: result %d, status %d\n"
               "A save would fail. If this leaf takes one type only, try another scratch leaf.",
               row.what, outcome.result, outcome.status);
}

void check_values(const char* path)
{
    for (const SampleWrite& row : sample_writes) {
        if (caught_signal() == 0)
            check_value(path, row);
    }
}

// Reports a failure only as a note, because no key types the byte 0x93.
void check_byte_0x93(const char* path)
{
    constexpr char advice[] = "Nothing to do: no key types this byte.";
    begin_check("write-0x93");
    const toolkit::CElement value = element_of(std::string("a\x93z"));
    const Outcome outcome = write_leaf(cds(), path, value);
    const Leaf read = read_leaf(path);
    if (!succeeded(outcome))
        report(note, "the byte 0x93 cannot be written: result %d, status %d\n%s", outcome.result,
               outcome.status, advice);
    else if (!holds(read, value))
        report(note, "the byte 0x93 in \"a\\x93z\" comes back as %s\n%s", shown(read.element).text,
               advice);
    else
        report(ok, "the byte 0x93 is written and read back");
}

// Writes through a second connection. A read through the first connection must return the new
// value, because the next screen must show changes by other programs.
void check_second_connection(const char* path)
{
    begin_check("second-connection");
    toolkit::CCds other;
    other.handle = pcd_init(0);
    if (other.handle == nullptr) {
        report(note, "a second connection cannot be opened\n"
                     "Run the utility only while no other program uses the store.");
        return;
    }
    const toolkit::CElement value = element_of_sample(Sample::string);
    const Outcome outcome = write_leaf(other, path, value);
    const bool is_seen = holds(read_leaf(path), value);
    pcd_close(other.handle);
    other.handle = nullptr;
    if (is_seen)
        report(ok, "what a second connection writes is read");
    else if (succeeded(outcome))
        report(wrong, "reads come from a cache: what a second connection writes is not read\n"
                      "Turn the cache off. The screens do not show what other programs change.");
}

// Clears the leaf. Passes more statuses than paths, because a save may also do so.
Outcome clear_leaf(const char* path)
{
    const std::vector<std::string> paths(1, path);
    std::vector<api_status_t> statuses(3);
    const int result = cds().clear_leaves(paths, statuses, "");
    return {result, statuses.empty() ? 0 : statuses.front()};
}

void judge_cleared(const Outcome& outcome, const Leaf& read)
{
    if (outcome.status != status_success)
        report(note,
               "clear_leaves succeeds with status %d\n"
               "Nothing to do: the utility looks at the result only.",
               outcome.status);
    if (!is_readable(read))
        report(ok, "clear_leaves removes the leaf");
    else if (text_of(read.element).empty())
        report(wrong, "clear_leaves only empties the leaf: it still exists\n"
                      "Check that the meter's services take an empty text as no value.");
    else
        report(wrong,
               "clear_leaves leaves the value as it is: %s\n"
               "Correct clear_leaves. A setting that a technician empties keeps its value.",
               shown(read.element).text);
}

void check_clear(const char* path)
{
    begin_check("clear");
    write_leaf(cds(), path, element_of_sample(Sample::string));
    const Outcome outcome = clear_leaf(path);
    if (outcome.result == 0)
        judge_cleared(outcome, read_leaf(path));
    else
        report(wrong,
               "clear_leaves fails: result %d, status %d\n"
               "Correct clear_leaves. A save that empties a value would fail.",
               outcome.result, outcome.status);
}

void check_clear_again(const char* path)
{
    begin_check("clear-again");
    const int result = clear_leaf(path).result;
    if (result == 0)
        report(ok, "clear_leaves succeeds for a leaf that is missing");
    else
        report(wrong,
               "clear_leaves fails for a leaf that is missing: result %d\n"
               "Correct clear_leaves. A save that empties a missing value would fail.",
               result);
}

// Writes a batch of two leaves. No meter has the second leaf, so a store with a fixed set of leaves
// rejects the second leaf. Returns the library's result.
int write_batch(const char* path, std::vector<api_status_t>& statuses)
{
    const std::vector<std::string> paths = {path, absent_path};
    const std::vector<toolkit::CElement> values(2, element_of_sample(Sample::string));
    const std::vector<pcd_tribool_t> flags(2, setting_flag);
    return cds().set_leaves(paths, values, flags, statuses, "Console");
}

void check_batch(const char* path)
{
    begin_check("batch");
    std::vector<api_status_t> statuses(2);
    const int result = write_batch(path, statuses);
    if (statuses.size() != 2)
        report(wrong,
               "set_leaves of 2 leaves fills %zu statuses\n"
               "Correct set_leaves. A save treats a leaf without a status as written.",
               statuses.size());
    else if (is_readable(read_leaf(absent_path)))
        report(note,
               "set_leaves creates leaves that no meter has\n"
               "Nothing to do. This store accepts every path, so a failing batch was not tested.");
    else if (result == 0 && statuses[1] == status_success)
        report(wrong,
               "set_leaves reports success for a leaf that it does not write\n"
               "Correct set_leaves. A save prints \"Settings saved.\" although a setting is lost.");
    else
        report(ok,
               "set_leaves of a leaf that can and one that cannot be written: result %d, "
               "statuses %d and %d",
               result, statuses[0], statuses[1]);
}

void put_back(const char* path)
{
    cds_connect(); // a check may have left the connection closed
    if (is_readable(read_leaf(absent_path)))
        clear_leaf(absent_path);
    if (is_readable(original))
        write_leaf(cds(), path, original.element);
    else
        clear_leaf(path);
}

bool is_restored(const Doctor& doctor)
{
    const Leaf leaf = read_leaf(doctor.options.scratch_path);
    return is_readable(original) ? holds(leaf, original.element) : is_missing(doctor, leaf);
}

void judge_restored(const Doctor& doctor)
{
    if (!is_restored(doctor))
        reconnect(); // the read may have come from a cache
    if (is_restored(doctor))
        report(ok, "is restored");
    else if (is_readable(original))
        report(wrong,
               "cannot be restored; it was %s: %s\n"
               "Store the value in this leaf:",
               type_name(original.element.type()), shown(original.element).text);
    else
        report(wrong, "was missing and cannot be removed\n"
                      "Remove this leaf:");
}

void restore(const Doctor& doctor)
{
    begin_check("restored");
    if (caught_signal() != 0)
        report(note,
               "interrupted by signal %d\n"
               "Checks are missing. Run the program again.",
               caught_signal());
    put_back(doctor.options.scratch_path);
    begin_leaf(doctor.options.scratch_path);
    judge_restored(doctor);
}

constexpr void (*write_checks[])(const char* path) = {
    check_values, check_byte_0x93,   check_second_connection,
    check_clear,  check_clear_again, check_batch,
};

void test_writing(Doctor& doctor)
{
    catch_signals();
    doctor.restore = restore;
    for (const auto check : write_checks) {
        if (caught_signal() == 0)
            check(doctor.options.scratch_path);
    }
    doctor.restore = nullptr;
    restore(doctor);
}

void report_unreadable(const char* path)
{
    begin_check("scratch-leaf");
    begin_leaf(path);
    report(wrong,
           "is not written, because its read has result %d and status %d\n"
           "Its value could not be restored. Name another leaf than this:",
           original.result, original.status);
}

} // namespace

void check_writing(Doctor& doctor)
{
    const char* path = doctor.options.scratch_path;
    begin_group("Writing");
    if (*path == '\0') {
        begin_check("not-asked");
        report(note, "writing is not tested\n"
                     "Name a scratch leaf that no program uses: --write-test PATH");
        return;
    }
    original = read_leaf(path);
    if (is_readable(original) || is_missing(doctor, original))
        test_writing(doctor);
    else
        report_unreadable(path);
}
