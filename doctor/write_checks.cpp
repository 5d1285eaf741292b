#include "doctor/doctor.h"
#include "doctor/elements.h"
#include "doctor/interruption.h"
#include "store/connection.h"

#include <cstdint>

namespace
{

// The scratch leaf as it was before the first write.
Leaf original;

struct WriteOutcome {
    int result;
    api_status_t status;
};

bool succeeded(const WriteOutcome& outcome)
{
    return outcome.result == 0 && outcome.status == status_success;
}

// As a save writes a mirror. A status that the library does not fill stays 0.
WriteOutcome write_leaf(toolkit::CCds& store, const std::string& path,
                        const toolkit::CElement& value)
{
    WriteOutcome outcome = {0, 0};
    outcome.result = store.set_leaf(path, value, outcome.status, setting_flag, "");
    return outcome;
}

WriteOutcome write_scratch(const Doctor& doctor, toolkit::CCds& store,
                           const toolkit::CElement& value)
{
    return write_leaf(store, doctor.options.scratch_path, value);
}

Leaf read_scratch(const Doctor& doctor)
{
    return read_leaf(doctor.options.scratch_path);
}

bool holds(const Leaf& leaf, const toolkit::CElement& value)
{
    return is_readable(leaf) && same_element(leaf.element, value);
}

void add_difference(Doctor& doctor, const char* what, const toolkit::CElement& written,
                    const Leaf& read)
{
    constexpr char advice[] = "The store does not hold what a technician enters.";
    const std::size_t size = text_of(read.element).size();
    const std::size_t wanted = text_of(written).size();
    if (!is_readable(read))
        add_wrong(doctor.report, "%s cannot be read back: result %d, status %d\n%s", what,
                  read.result, read.status, advice);
    else if (size != wanted && read.element.type() == written.type())
        add_wrong(doctor.report, "%s comes back with %zu of %zu bytes\n%s", what, size, wanted,
                  advice);
    else
        add_wrong(doctor.report, "%s comes back as %s: %s\n%s", what,
                  type_name(read.element.type()), shown(read.element).text, advice);
}

// A new connection has no cache yet.
void reconnect()
{
    cds_disconnect();
    cds_connect();
}

void judge_read_back(Doctor& doctor, const char* what, const toolkit::CElement& value)
{
    const Leaf read = read_scratch(doctor);
    if (holds(read, value)) {
        add_ok(doctor.report, "%s is written and read back", what);
        return;
    }
    reconnect();
    if (holds(read_scratch(doctor), value))
        add_wrong(doctor.report,
                  "reads come from a cache: only a new connection reads %s back\n"
                  "The screens show old values until the utility starts again.",
                  what);
    else
        add_difference(doctor, what, value, read);
}

void check_value(Doctor& doctor, const char* what, const toolkit::CElement& value)
{
    const WriteOutcome outcome = write_scratch(doctor, cds(), value);
    if (succeeded(outcome))
        judge_read_back(doctor, what, value);
    else
        add_wrong(doctor.report,
                  "%s cannot be written: result %d, status %d\n"
                  "A save would fail. If this leaf takes one type only, try another scratch leaf.",
                  what, outcome.result, outcome.status);
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

void check_values(Doctor& doctor)
{
    for (const SampleWrite& row : sample_writes) {
        doctor.report.check = row.what;
        if (caught_signal() == 0)
            check_value(doctor, row.what, element_of_sample(row.sample));
    }
}

// A store may do what it likes with this byte, because no key types it.
void check_byte_0x93(Doctor& doctor)
{
    const toolkit::CElement value = element_of(std::string("a\x93z"));
    const WriteOutcome outcome = write_scratch(doctor, cds(), value);
    const Leaf read = read_scratch(doctor);
    constexpr char advice[] = "This does no harm: the utility takes printable ASCII keys only.";
    if (!succeeded(outcome))
        add_note(doctor.report, "the byte 0x93 cannot be written: result %d, status %d\n%s",
                 outcome.result, outcome.status, advice);
    else if (!holds(read, value))
        add_note(doctor.report, "the byte 0x93 in \"a\\x93z\" comes back as %s\n%s",
                 shown(read.element).text, advice);
    else
        add_ok(doctor.report, "the byte 0x93 is written and read back");
}

// The next screen must show what another program has changed.
void check_second_connection(Doctor& doctor)
{
    const toolkit::CElement value = element_of(std::int32_t{2});
    toolkit::CCds other;
    other.handle = pcd_init(0);
    if (other.handle == nullptr) {
        add_note(doctor.report, "a second connection cannot be opened\n"
                                "No other program may use the store meanwhile.");
        return;
    }
    const WriteOutcome outcome = write_scratch(doctor, other, value);
    const bool is_seen = holds(read_scratch(doctor), value);
    pcd_close(other.handle);
    other.handle = nullptr;
    if (is_seen)
        add_ok(doctor.report, "what a second connection writes is read");
    else if (succeeded(outcome))
        add_wrong(doctor.report,
                  "reads come from a cache: what a second connection writes is not read\n"
                  "The screens do not show what other programs change.");
}

// The statuses given have another length than the paths, as in a save.
WriteOutcome clear_leaf(const std::string& path)
{
    const std::vector<std::string> paths(1, path);
    std::vector<api_status_t> statuses(3, 0);
    const int result = cds().clear_leaves(paths, statuses, "");
    return {result, statuses.empty() ? 0 : statuses.front()};
}

void judge_cleared(Doctor& doctor, const WriteOutcome& outcome)
{
    const Leaf read = read_scratch(doctor);
    if (outcome.status != status_success)
        add_note(doctor.report,
                 "clear_leaves succeeds with status %d\n"
                 "The utility looks at the result only.",
                 outcome.status);
    if (!is_readable(read))
        add_ok(doctor.report, "clear_leaves removes the leaf");
    else if (text_of(read.element).empty())
        add_wrong(doctor.report, "clear_leaves only empties the leaf: it is still there\n"
                                 "Check that the meter's services take an empty text as no value.");
    else
        add_wrong(doctor.report,
                  "clear_leaves leaves the value as it is: %s\n"
                  "A setting that a technician empties keeps its value.",
                  shown(read.element).text);
}

void check_clear(Doctor& doctor)
{
    write_scratch(doctor, cds(), element_of_sample(Sample::string));
    const WriteOutcome outcome = clear_leaf(doctor.options.scratch_path);
    if (outcome.result == 0)
        judge_cleared(doctor, outcome);
    else
        add_wrong(doctor.report,
                  "clear_leaves fails: result %d, status %d\n"
                  "A save that empties a value would fail.",
                  outcome.result, outcome.status);
}

void check_clear_again(Doctor& doctor)
{
    const WriteOutcome outcome = clear_leaf(doctor.options.scratch_path);
    if (outcome.result == 0)
        add_ok(doctor.report, "clear_leaves succeeds for a leaf that is missing");
    else
        add_wrong(doctor.report,
                  "clear_leaves fails for a leaf that is missing: result %d\n"
                  "A save that empties a value that is not set would fail.",
                  outcome.result);
}

struct BatchOutcome {
    int result;
    std::vector<api_status_t> statuses;
};

// The leaf that no meter has is the second in the batch: a store whose leaves are fixed rejects it.
BatchOutcome write_batch(const Doctor& doctor)
{
    std::vector<std::string> paths;
    paths.emplace_back(doctor.options.scratch_path);
    paths.emplace_back(absent_path);
    const std::vector<toolkit::CElement> values(2, element_of_sample(Sample::string));
    const std::vector<pcd_tribool_t> flags(2, setting_flag);
    BatchOutcome batch = {0, std::vector<api_status_t>(2, 0)};
    batch.result = cds().set_leaves(paths, values, flags, batch.statuses, "Console");
    return batch;
}

void check_batch(Doctor& doctor)
{
    const BatchOutcome batch = write_batch(doctor);
    const std::vector<api_status_t>& statuses = batch.statuses;
    if (statuses.size() != 2)
        add_wrong(doctor.report,
                  "set_leaves of 2 leaves fills %zu statuses\n"
                  "A save takes a leaf without a status as written.",
                  statuses.size());
    else if (is_readable(read_leaf(absent_path)))
        add_note(doctor.report, "set_leaves creates leaves that no meter has\n"
                                "No path is known that cannot be written: no failure was tested.");
    else if (batch.result == 0 && statuses[1] == status_success)
        add_wrong(doctor.report, "set_leaves reports success for a leaf that it does not write\n"
                                 "A save prints \"Settings saved.\" although a setting is lost.");
    else
        add_ok(
            doctor.report,
            "set_leaves of a leaf that can and one that cannot be written: result %d, statuses %d "
            "and %d",
            batch.result, statuses[0], statuses[1]);
}

void add_interruption(Doctor& doctor)
{
    if (caught_signal() != 0)
        add_note(doctor.report,
                 "interrupted by signal %d\n"
                 "Checks are left out. Run the program again.",
                 caught_signal());
}

void put_back(const std::string& path)
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
    const Leaf leaf = read_scratch(doctor);
    return is_readable(original) ? holds(leaf, original.element) : is_missing(doctor, leaf);
}

void check_restored(Doctor& doctor)
{
    doctor.restore = nullptr;
    add_interruption(doctor);
    put_back(doctor.options.scratch_path);
    doctor.report.leaf = doctor.options.scratch_path;
    if (!is_restored(doctor))
        reconnect(); // the read may have come from a cache
    if (is_restored(doctor))
        add_ok(doctor.report, "is again as it was");
    else if (is_readable(original))
        add_wrong(doctor.report,
                  "cannot be restored; it was %s: %s\n"
                  "Store the value in this leaf:",
                  type_name(original.element.type()), shown(original.element).text);
    else
        add_wrong(doctor.report, "was missing and cannot be removed\n"
                                 "Remove this leaf:");
}

constexpr Check write_checks[] = {
    {"values", check_values},
    {"write-0x93", check_byte_0x93},
    {"second-connection", check_second_connection},
    {"clear", check_clear},
    {"clear-again", check_clear_again},
    {"batch", check_batch},
    {"restored", check_restored, RunWhen::always},
};

void check_not_asked(Doctor& doctor)
{
    add_note(doctor.report, "writing is not tested\n"
                            "Name a scratch leaf that no program uses: --write-test PATH");
}

void check_unreadable(Doctor& doctor)
{
    doctor.report.leaf = doctor.options.scratch_path;
    add_wrong(doctor.report,
              "is not written, because its read has result %d and status %d\n"
              "Its value could not be restored. Name another leaf than this:",
              original.result, original.status);
}

constexpr Check not_asked[] = {{"not-asked", check_not_asked}};
constexpr Check unreadable[] = {{"scratch-leaf", check_unreadable}};

} // namespace

void check_writing(Doctor& doctor)
{
    if (*doctor.options.scratch_path == '\0') {
        run_checks(doctor, "Writing", not_asked);
        return;
    }
    original = read_scratch(doctor);
    if (!is_readable(original) && !is_missing(doctor, original)) {
        run_checks(doctor, "Writing", unreadable);
        return;
    }
    catch_signals();
    doctor.restore = check_restored;
    run_checks(doctor, "Writing", write_checks);
}
