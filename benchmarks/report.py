"""The tables of what count.py measured, with the aims and ceilings that the figures are compared with."""

# The aims, each a difference between libxavo and the calls by hand. METHOD: own instructions of a method call. QUERY:
# share of a query's total instructions. DEVIATION: the instructions for one more job in a listing, compared with their
# mean.
METHOD, QUERY, DEVIATION = 400, 0.05, 0.05
# Method calls miss their aim for the reasons in docs/proof.md. A ceiling for each call, about 5% above its own
# instructions, detects an increase. When a call takes fewer instructions, lower its ceiling.
CEILINGS = {"DeleteJobQueue": 830, "SetupJobQueue": 1030, "InstallFromURI": 1200, "InstallFromSoftwareIdentity": 1165,
            "CreateRebootJob": 1200, "BackupImage": 2010, "RestoreImage": 2040, "TestNetworkShare": 1850, "get": 3410,
            "list": 29700}


def row(*cells):
    return "| " + " | ".join(cell if isinstance(cell, str) else f"{cell:,.0f}" for cell in cells) + " |"


def head(*cells):
    return [row(*cells), row(*["---"] * len(cells))]


class Report:
    """`text` is the report; `missed` are the missed aims; `failures` are the missed aims without a ceiling, and the
    calls above their ceiling."""

    def __init__(self, data):
        self.missed, self.failures = [], []
        self.text = "\n".join(self.calls(data["calls"]) + self.listings(data["listings"]) + [
            "", "Aims missed:\n\n* " + "\n* ".join(self.missed) if self.missed else "Every aim is met.",
            "", "Failures (above a ceiling, and missed aims without a ceiling):\n\n* " + "\n* ".join(self.failures)
            if self.failures else "Nothing is above its ceiling."])

    def compare(self, what, value, most, form="{:,.0f}", has_ceiling=False):
        """Returns the value as text, marked if it is above `most`, its aim; then also records the missed aim."""
        if value <= most:
            return form.format(value)
        self.missed.append(f"{what}: {form.format(value)}, at most {form.format(most)}")
        if not has_ceiling:
            self.failures.append(self.missed[-1])
        return form.format(value) + " (missed)"

    def calls(self, calls):
        lines = [f"""\
Instructions of one call. "Own" are those outside the client library, "all" are those inside and outside it. Differences
and shares compare libxavo with the code by hand. Aims: at most {METHOD} own instructions more than by hand for a method
call, {QUERY:.0%} more in total for a query; no allocations except for results, and for the name that TestNetworkShare
makes of user and workgroup.
"""]
        lines += head("call", "own", "own by hand", "own, difference", "client library", "client library by hand",
                      "all, difference", "all, share", "allocations", "allocations by hand", "ns", "ns by hand")
        for call in calls:
            name, libxavo, by_hand = call["name"], call["libxavo"], call["by_hand"]
            own = libxavo["own"]
            more = f"{own - by_hand['own']:,.0f}" if call["is_query"] else \
                self.compare(f"{name}, own", own - by_hand["own"], METHOD, has_ceiling=True)
            if own > CEILINGS.get(name, 0):
                self.failures.append(f"{name}: {own:,.0f} own instructions, at most {CEILINGS.get(name, 0):,}")
            total = self.compare(name, libxavo["total"] / by_hand["total"] - 1, QUERY if call["is_query"] else 1,
                                 "{:+.1%}")
            allocations = self.compare(f"{name}, allocations", libxavo["allocations"],
                                       by_hand["allocations"] + call["further_allocations"])
            lines.append(row(name, own, by_hand["own"], more, libxavo["total"] - own, by_hand["total"] - by_hand["own"],
                             libxavo["total"] - by_hand["total"], total, allocations, by_hand["allocations"],
                             libxavo["ns"], by_hand["ns"]))
        return lines

    def listings(self, listings):
        lines = [f"""
A listing, and the cost of each further job since the row above. Aims: at most {QUERY:.0%} more instructions than by
hand, and linear: a further job at most {DEVIATION:.0%} above or below the mean.
"""]
        lines += head("jobs", "instructions", "by hand", "more", "each further job", "ms", "by hand",
                      "each further job, ns", "by hand")
        first, last = listings[0], listings[-1]
        mean = (last["libxavo"]["total"] - first["libxavo"]["total"]) / (last["jobs"] - first["jobs"])
        for before, listing in zip([None] + listings, listings):
            jobs, sides = listing["jobs"], (listing["libxavo"], listing["by_hand"])
            further = ["", "", ""]
            if before:
                step = jobs - before["jobs"]
                each = (sides[0]["total"] - before["libxavo"]["total"]) / step
                self.compare(f"list, deviation of {each:,.0f} for a further job at {jobs:,} from {mean:,.0f}",
                             abs(each / mean - 1), DEVIATION, "{:.1%}")
                further = [each] + [(now["ns"] - then["ns"]) / step
                                    for now, then in zip(sides, (before["libxavo"], before["by_hand"]))]
            total = self.compare(f"list of {jobs:,}", sides[0]["total"] / sides[1]["total"] - 1, QUERY, "{:+.1%}")
            lines.append(row(jobs, sides[0]["total"], sides[1]["total"], total, further[0],
                             *(f"{side['ns'] / 1e6:.2f}" for side in sides), *further[1:]))
        return lines
