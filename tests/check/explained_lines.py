#!/usr/bin/env python3
"""explained_lines.py TOVRA EXAMPLES: holds what `tovra explain --all` says of each line of the campus switch to a table.

A row: the number of the line, or the first and last of several; file and line of the node that wrote them; the record
that their values are of, or of a line without values the innermost record in scope, or a dash.
"""
import json
import pathlib
import subprocess
import sys

TABLE = """
1       system.tvr:9            /system
2       system.tvr:16           /system
3-4     system.tvr:23           /system
5-8     system.tvr:31           /system
9       system.tvr:39           /system
10      users.tvr:10            /system/user;name=admin
11      users.tvr:17            /system/user;name=audit
12      users.tvr:10            /system/user;name=helpdesk
13      users.tvr:25            -
14      logging.tvr:9           /logging
15      logging.tvr:17          /logging
16      logging.tvr:38          /logging/host;address=192.0.2.60
17      logging.tvr:30          /logging/host;address=192.0.2.61
18      logging.tvr:47          /logging
19      time.tvr:9              /ntp/key;id=7
20      time.tvr:29             /ntp/server;address=192.0.2.123
21      time.tvr:37             /ntp/server;address=192.0.2.124
22      time.tvr:21             /ntp/server;address=192.0.2.125
23      time.tvr:44             -
24      snmp.tvr:9              /snmp
25      snmp.tvr:16             /snmp
26      snmp.tvr:23             /snmp
27      snmp.tvr:36             /snmp/community;group=monitor
28      snmp.tvr:36             /snmp/community;group=staff
29      snmp.tvr:48             /snmp/host;address=192.0.2.70
30      snmp.tvr:55             /snmp
31      vlans.tvr:10            /switching/vlan;number=10
32      vlans.tvr:31            /switching/vlan;number=10
33      vlans.tvr:22            /switching/vlan;number=10
34      vlans.tvr:10            /switching/vlan;number=20
35      vlans.tvr:31            /switching/vlan;number=20
36      vlans.tvr:22            /switching/vlan;number=20
37      vlans.tvr:10            /switching/vlan;number=30
38      vlans.tvr:31            /switching/vlan;number=30
39      vlans.tvr:22            /switching/vlan;number=30
40      vlans.tvr:10            /switching/vlan;number=110
41      vlans.tvr:31            /switching/vlan;number=110
42      vlans.tvr:38            /switching/vlan;number=110
43      vlans.tvr:22            /switching/vlan;number=110
44      access_lists.tvr:9      /filters/list;name=GUEST-IN
45      access_lists.tvr:36     /filters/list;name=GUEST-IN/rule;number=10
46      access_lists.tvr:51     /filters/list;name=GUEST-IN/rule;number=20
47      access_lists.tvr:43     /filters/list;name=GUEST-IN/rule;number=30
48      access_lists.tvr:51     /filters/list;name=GUEST-IN/rule;number=100
49      access_lists.tvr:21     /filters/list;name=GUEST-IN
50      access_lists.tvr:9      /filters/list;name=MANAGE
51      access_lists.tvr:43     /filters/list;name=MANAGE/rule;number=10
52      access_lists.tvr:21     /filters/list;name=MANAGE
53      ports.tvr:11            /switching/port;name=1%2F1
54      ports.tvr:32            /switching/port;name=1%2F1
55      ports.tvr:54            /switching/port;name=1%2F1
56      ports.tvr:62            /switching/port;name=1%2F1
57      ports.tvr:86            /switching/port;name=1%2F1
58      ports.tvr:110           /switching/port;name=1%2F1
59      ports.tvr:23            /switching/port;name=1%2F1
60      ports.tvr:11            /switching/port;name=1%2F2
61      ports.tvr:32            /switching/port;name=1%2F2
62      ports.tvr:39            /switching/port;name=1%2F2
63      ports.tvr:54            /switching/port;name=1%2F2
64      ports.tvr:86            /switching/port;name=1%2F2
65      ports.tvr:94            /switching/port;name=1%2F2
66      ports.tvr:110           /switching/port;name=1%2F2
67      ports.tvr:23            /switching/port;name=1%2F2
68      ports.tvr:11            /switching/port;name=1%2F3
69      ports.tvr:32            /switching/port;name=1%2F3
70      ports.tvr:54            /switching/port;name=1%2F3
71      ports.tvr:110           /switching/port;name=1%2F3
72      ports.tvr:23            /switching/port;name=1%2F3
73      ports.tvr:11            /switching/port;name=1%2F4
74      ports.tvr:102           /switching/port;name=1%2F4
75      ports.tvr:23            /switching/port;name=1%2F4
76      ports.tvr:11            /switching/port;name=2%2F1
77      ports.tvr:32            /switching/port;name=2%2F1
78      ports.tvr:46            /switching/port;name=2%2F1
79      ports.tvr:70            /switching/port;name=2%2F1
80      ports.tvr:78            /switching/port;name=2%2F1
81      ports.tvr:110           /switching/port;name=2%2F1
82      ports.tvr:23            /switching/port;name=2%2F1
83      ports.tvr:11            /switching/port;name=2%2F2
84      ports.tvr:32            /switching/port;name=2%2F2
85      ports.tvr:46            /switching/port;name=2%2F2
86      ports.tvr:70            /switching/port;name=2%2F2
87      ports.tvr:110           /switching/port;name=2%2F2
88      ports.tvr:23            /switching/port;name=2%2F2
89      vlan_interfaces.tvr:9   /routing/interface;vlan=10
90      vlan_interfaces.tvr:30  /routing/interface;vlan=10
91-92   vlan_interfaces.tvr:37  /routing/interface;vlan=10
93      vlan_interfaces.tvr:51  /routing/interface;vlan=10
94      vlan_interfaces.tvr:58  /routing/interface;vlan=10
95      vlan_interfaces.tvr:21  /routing/interface;vlan=10
96      vlan_interfaces.tvr:9   /routing/interface;vlan=30
97      vlan_interfaces.tvr:30  /routing/interface;vlan=30
98      vlan_interfaces.tvr:37  /routing/interface;vlan=30
99      vlan_interfaces.tvr:44  /routing/interface;vlan=30
100     vlan_interfaces.tvr:21  /routing/interface;vlan=30
101     routes.tvr:10           /routing/route;prefix=0.0.0.0%2F0
102     routes.tvr:18           /routing/route;prefix=10.0.0.0%2F8
103     routes.tvr:26           /routing/route;prefix=10.20.0.0%2F16
104     routes.tvr:34           /routing/route;prefix=10.21.0.0%2F16
105     routes.tvr:42           /routing/route;prefix=10.22.0.0%2F16
106     routes.tvr:50           /routing/route;prefix=10.23.0.0%2F16
107     routes.tvr:58           /routing/route;prefix=10.24.0.0%2F16
108     routes.tvr:66           /routing/route;prefix=10.25.0.0%2F16
109     routes.tvr:74           -
110     ospf.tvr:9              /routing/ospf
111     ospf.tvr:30             /routing/ospf
112     ospf.tvr:37             /routing/ospf
113     ospf.tvr:44             /routing/ospf
114     ospf.tvr:57             /routing/ospf/area;id=0
115-116 ospf.tvr:57             /routing/ospf/area;id=3
117     ospf.tvr:64             /routing/ospf/area;id=3
118     ospf.tvr:21             /routing/ospf
119     layout.tvr:40           -
"""


def explained(program, folder):
    """Yields of each line its number and text, and `FILE:LINE RECORD` of each node that wrote of it."""
    said = subprocess.run([program, "explain", "--all", "--format", "json", "--templates", "templates", "--data",
                           "data.json"], cwd=folder, check=True, capture_output=True, text=True).stdout
    for line in map(json.loads, said.splitlines()):
        sources = []
        for source in line["sources"]:
            of_values = {value["record"] for value in source["values"]}
            in_scope = [above["record"] for above in source["below"] if "record" in above]
            records = sorted(of_values) or in_scope[:1] or ["-"]
            sources.append(" ".join([f"{pathlib.Path(source['file']).name}:{source['line']}", *records]))
        yield line["number"], line["text"], sources


def main():
    program, folder = sys.argv[1], pathlib.Path(sys.argv[2]) / "campus-switch"
    wanted = {}
    for lines, place, record in map(str.split, TABLE.strip().splitlines()):
        numbers = [int(number) for number in lines.split("-")]
        wanted.update((number, [f"{place} {record}"]) for number in range(numbers[0], numbers[-1] + 1))
    text = (folder / "expected/all.txt").read_text().splitlines()
    got = list(explained(program, folder))
    faults = [f"{number}: {line!r} is explained by {sources}, not {wanted.get(number)}"
              for number, line, sources in got if sources != wanted.get(number)]
    if [line for _, line, _ in got] != text or len(text) != len(wanted):
        faults.append("the lines are not those of the configuration, each once")
    print("\n".join(faults + [f"{len(got)} lines explained"]))
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
