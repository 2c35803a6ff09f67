"""playbook_table.py FEW MANY - prints the table of what the playbook costs for 20 and 120 controllers. Each argument is
what playbook_cost.py writes: seconds, seconds of CPU, and KiB of memory."""
import sys

COUNTS = 20, 120


def table(few, many):
    """The lines of the table, for (seconds, CPU seconds, KiB) of both."""
    each = [(more - less) / (COUNTS[1] - COUNTS[0]) for less, more in zip(few, many)]
    fleet = [cost + (20000 - COUNTS[1]) * further for cost, further in zip(many, each)]
    lines = ["| controllers | time | CPU time | memory at most |", "|---|---|---|---|"]
    lines += [f"| {count} | {time:.0f} s | {cpu:.1f} s | {memory / 1024:.0f} MiB |"
              for count, (time, cpu, memory) in zip(COUNTS, (few, many))]
    return lines + [
        f"| each further one | {each[0]:.2f} s | {each[1] * 1000:.0f} ms | {each[2]:.0f} KiB |",
        f"| 20,000, extrapolated | {fleet[0] / 3600:.1f} h | {fleet[1] / 3600:.1f} h | {fleet[2] / 1048576:.1f} GiB |"]


if __name__ == "__main__":
    print("\n".join(table(*([float(number) for number in text.split()] for text in sys.argv[1:]))))
