#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A timetable: lessons in rooms and periods, wishes of teachers, and why not."""

import vorn

PERIODS = 5
# Subject: teacher, class.
LESSONS = {
    "maths": ("Noether", "7a"),
    "physics": ("Noether", "7b"),
    "music": ("Clara", "7a"),
    "latin": ("Cicero", "7a"),
    "history": ("Cicero", "7b"),
    "sports": ("Jesse", "7b"),
}


def main() -> None:
    s = vorn.Solver()
    period = {lesson: s.int(lesson) for lesson in LESSONS}
    for lesson, when in period.items():
        s.add(when >= 1, when <= PERIODS)
    # Nobody is in two places.
    for k in range(2):
        for who in sorted({people[k] for people in LESSONS.values()}):
            own = [period[one] for one in LESSONS if LESSONS[one][k] == who]
            s.add(vorn.distinct(own), name=f"{who} once")
    s.add(period["latin"] - period["maths"] >= 1, name="sums before Caesar")
    s.add(vorn.any_of(period["sports"] == 1, period["sports"] == PERIODS))
    s.assert_soft(period["maths"] == 1, weight=3)
    s.assert_soft(period["physics"] >= 4, weight=1)
    s.assert_soft(period["history"] - period["latin"] == 1, weight=2)
    end = s.int("end")
    for when in period.values():
        s.add(end >= when)
    s.minimize(end, name="end")

    print(s.check())
    model = s.model()
    for number in range(1, PERIODS + 1):
        now = [one for one in LESSONS if model[period[one]] == number]
        print(number, ", ".join(sorted(now)) or "-")
    for objective in s.objectives():
        print(objective.name, objective.low)

    with s.push():
        s.add(end <= 2, name="half a day")
        print(s.check(), sorted(s.core()))


main()
