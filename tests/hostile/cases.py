"""Hostile sizes: each case makes templates and data of a size, and says by a formula of its own what comes.

A case has a name, its full size, and a function of a size that returns a Run; the release build is tested at the
full size, a build with sanitizers at a hundredth.
"""
from dataclasses import dataclass, field, replace

CONFIG = "Cmd: config\nOp: no_op\n"
DEEP = "error 10000: Template tree nested too deep\n"
ONE_BY_ONE = ("render", "--fetch-count", "1")
CASES = {}


@dataclass
class Run:
    templates: str = CONFIG
    data: str = '{"records":{}}'
    out: str = ""
    err: str = ""
    status: int = 0
    command: tuple = ("render",)
    stack_kib: int = 256
    files: dict = field(default_factory=dict)


def case(name, size, make):
    CASES[name] = (make, size)


def node(name, parent="config", op="no_op", *more):
    return "\n".join([f"Cmd: {name}", *([f"Parent Cmd: {parent}"] if parent else []), f"Op: {op}", *more, ""])


def line(name, parent, fmt, *more):
    return node(name, parent, "print_if", f"Fmt: {fmt}", *more, "Newline:")


def each(n, make):
    return "".join(map(make, range(n)))


def record(properties):
    return '{"records":{"/r":{' + properties + "}}}"


def records(pairs):
    return '{"records":{' + ",".join(f'"{uri}":{value}' for uri, value in pairs) + "}}"


def numbered(n):
    return records((f"/l/x;k={i}", f'{{"v":{i}}}') for i in range(n))


def lines(texts):
    return "".join(f"{text}\n" for text in texts)


def listed(fmt, *more):
    """A list /l?x with one line for each record."""
    return CONFIG + node("list", "config", "get_collection", "Uri: /l?x") + line("line", "list", fmt, *more)


def one(fmt, *more):
    """A record /r with one line."""
    return CONFIG + node("one", "config", "get_one", "Uri: /r") + line("line", "one", fmt, *more)


# Templates

case("template-line", 10_000_000, lambda n: Run(CONFIG + line("a", "config", "x" * n), out="x" * n + "\n"))


def siblings(n):
    return Run(CONFIG + "".join(line(f"n{i}", "config", f"l {i}") for i in range(n)),
               out=lines(f"l {i}" for i in range(n)))


case("siblings", 100_000, siblings)


def tree_bottom_up(n):
    """A binary heap of records, the last first: each adopts the two that waited for it."""
    def below(i):
        return f"l {i}\n" + below(2 * i + 1) + below(2 * i) if i <= n else ""
    made = [line(f"n{i}", f"n{i // 2}" if i > 1 else "config", f"l {i}") for i in range(1, n + 1)]
    return Run("".join(reversed(made)) + CONFIG, out=below(1))


case("tree-bottom-up", 100_000, tree_bottom_up)


def links(n):
    return [node(f"n{i}", f"n{i - 1}" if i else "config") for i in range(n)]


def chain(n):
    return Run(CONFIG + "".join(links(n)), err=DEEP, status=1)


case("chain", 100_000, chain)
case("chain-bottom-up", 100_000, lambda n: Run("".join(reversed(links(n))) + CONFIG, err=DEEP, status=1))
case("chain-odd-links-first", 100_000, lambda n:
     Run(CONFIG + "".join(links(n)[1::2] + links(n)[0::2]), err=DEEP, status=1))


def adopters_below_chain(third):
    """Each of the last third adopts a waiting node while it hangs below a chain of the first third."""
    return Run(CONFIG + "".join(links(third)) + each(third, lambda i: node(f"w{i}", f"a{i}")) +
               each(third, lambda i: node(f"a{i}", f"n{third - 1}")),
               **({"err": DEEP, "status": 1} if third > 1000 else {}))


case("adopters-below-chain", 100_000, lambda n: adopters_below_chain(n // 3))
case("chain-checked", 100_000, lambda n: Run(CONFIG + "".join(links(n)), command=("check",)))


def nested(n, shown, **more):
    return Run(CONFIG + each(n, lambda i: line(f"n{i}", f"n{i - 1}" if i else "config", f"l {i}")),
               out=lines(f"l {i}" for i in range(shown)), **more)


# As deep as a walk goes: config and 999 below it.
case("nested-lines", 999, lambda n: nested(998, 998))
case("nested-lines-too-deep", 1000, lambda n: nested(999, 998, err=DEEP, status=1))
case("jumps-to-one", 100_000, lambda n:
     Run(CONFIG + "".join(node(f"j{i}", "config", "push_mode", "Dest: mode") for i in range(n)) +
     node("mode", "") + line("x", "mode", "x"), out=" x\n" * n))
case("jump-chain", 100_000, lambda n: Run(CONFIG + node("j", "config", "push_mode", "Dest: m0") +
     each(n, lambda i: node(f"m{i}", "") + node(f"j{i}", f"m{i}", "push_mode", f"Dest: m{i + 1}")) +
     node(f"m{n}", ""), err=DEEP, status=1))

# A ring of jumps, entered from config.
case("jump-cycle", 100_000, lambda n: Run(CONFIG + node("j", "config", "push_mode", "Dest: m0") +
     each(n, lambda i: node(f"m{i}", "") + node(f"j{i}", f"m{i}", "push_mode", f"Dest: m{(i + 1) % 100}")),
     err="error 10000: Jump into a node that is being walked\n", status=1))
case("same-id", 100_000, lambda n:
     Run(CONFIG + node("a") * max(n, 2), err="t/0.tvr:6: Failed to add node to tree: a: t/0.tvr:3 has that id\n", status=1))
case("slots", 10_000, lambda n:
     Run(one("%s " * 10_000, "Props: /r " + " ".join(f"p:{i}" for i in range(10_000))),
     record('"p":1'), out=" ".join(["1"] * 10_000) + "\n"))
case("slots-too-many", 1_000_000, lambda n:
     Run(one("%s " * max(n, 10_001)), err="t/0.tvr:10: Too many slots in format: line\n", status=1))

# A line that names 100,000 properties, each in slot 0: the last one counts.
case("properties", 100_000, lambda n: Run(one("%s", "Props: /r " + " ".join(f"p{i}:0" for i in range(n))),
     records([("/r", "{" + ",".join(f'"p{i}":{i}' for i in range(n)) + "}")]), out=f"{n - 1}\n"))
case("properties-of-condition", 100_000, lambda n:
     Run(one("x", "Props: /r" + each(n, lambda i: f" p{i}:{i}"), f"Cond: (eq $tvr{n - 1} {n - 1})"),
     records([("/r", "{" + ",".join(f'"p{i}":{i}' for i in range(n)) + "}")]), out="x\n"))
case("uris-of-line", 100_000, lambda n:
     Run(one("%s", *("Props: /r p:0" for i in range(n))), record('"p":1'), out="1\n"))
case("value-map", 100_000, lambda n:
     Run(listed("%s", "Props: /l?x v:0", "ValueMap: 0 " + " ".join(f"{i} t{i}" for i in range(n))),
     numbered(n), out=lines(f"t{i}" for i in range(n))))
case("order-keys", 100_000, lambda n:
     Run(CONFIG + node("list", "config", "get_collection", "Uri: /l?x", each(n, lambda i: f"Orderby: p{i}\n")) +
     line("line", "list", "%s", "Props: /l?x k:0"),
     records((f"/l/x;k={i}", f'{{"p{n - 1}":{-i}}}') for i in range(3)), out="2\n1\n0\n"))
case("condition-terms", 100_000, lambda n: Run(one("x", "Props: /r p:0", "Cond: (and" + " (eq $tvr0 1)" * n + ")"),
     record('"p":1'), out="x\n"))
case("condition-names", 100_000, lambda n:
     Run(one("x", "Props: /r p:0", "Cond: (or" + each(n, lambda i: f" $tvr{i + 1}") + " $tvr0)"),
     record('"p":1'), out="x\n"))
case("condition-text", 10_000_000, lambda n: Run(one("x", "Props: /r p:0", f'Cond: (ne $tvr0 "{"x" * n}")'),
     record('"p":1'), out="x\n"))
case("condition-parentheses", 1_000_000, lambda n:
     Run(one("x", "Props: /r p:0", "Cond: " + "(and " * n + "$tvr0" + ")" * n), record('"p":1'),
     err="error 10000: condition: groups nested more than 64 deep at column 322\n", status=1))
case("template-files", 100_000, lambda n:
     Run(out=lines(f"l {i}" for i in range(n)),
     files={f"{i:06}.tvr": line(f"n{i}", "config", f"l {i}") for i in range(n)}))

# Data

case("value", 10_000_000, lambda n: Run(one("%s", "Props: /r p:0"), record(f'"p":"{"v" * n}"'), out="v" * n + "\n"))
case("value-escaped", 10_000_000, lambda n:
     Run(one("%s", "Props: /r p:0"), records([("/r", '{"p":"' + '\\" ' * (n // 4) + '"}')]),
     out='"' + '\\" ' * (n // 4) + '"\n'))


def numbers(n):
    return record(f'"a":[{",".join(map(str, range(n)))}]')


def array(fmt, layout, n, out):
    return Run(one(fmt, f"Props: /r a:{layout}"), numbers(n), out=out)


case("array-in-line", 1_000_000, lambda n: array("a %s", "0", n, "a " + " ".join(map(str, range(n))) + "\n"))
case("array-lines", 1_000_000, lambda n: array("a %s.%s", "1::multiline:0", n, lines(f"a {i}.{i}" for i in range(n))))
case("array-pairs", 1_000_000, lambda n:
     array("a %s b %s", "0:::1", n, "a " + " ".join(f"{i} b {i}" for i in range(n)) + "\n"))
case("array-independent", 1_000_000, lambda n: array("a %s b %s", "0:::1::independent", n,
     f"a {' '.join(map(str, range(n)))} b {' '.join(map(str, range(n)))}\n"))
case("array-lines-of-condition", 1_000_000, lambda n:
     Run(one("a %s %s", "Props: /r a:0::multiline:1", f"Cond: (ge $tvr1 {n - 1})"),
     numbers(n), out=f"a {n - 1} {n - 1}\n"))


def arrays_inside(n, **more):
    return Run(one("%s " * n, *(f"Props: /r a:{i}::multiline" for i in range(n))), record('"a":[1]'), **more)


case("arrays-inside", 64, lambda n: arrays_inside(64, out=" ".join(["1"] * 64) + "\n"))
case("arrays-inside-too-deep", 65, lambda n:
     arrays_inside(65, err="error 10000: Array expansion nested too deep\n", status=1))


def uri_segments(uri):
    return Run(CONFIG + node("one", "config", "get_one", f"Uri: {uri}") +
               line("line", "one", "%s", f"Props: {uri} p:0"), records([(uri, '{"p":1}')]), out="1\n")


def uri_segments_of_list(below):
    return Run(CONFIG + node("list", "config", "get_collection", "Uri: /l?x") +
               node("below", "list", "get_collection", f"Uri: /l/x;k=${below}?b") +
               line("line", "below", "%s", f"Props: /l/x;k=${below}?b p:0"),
               records([("/l/x;k=1", "{}"), (f"/l/x;k=1{below}/b;k=2", '{"p":1}')]), out="1\n")


case("uri-segments", 10_000, lambda n: uri_segments("/a" * n))
case("uri-segments-of-list", 10_000, lambda n: uri_segments_of_list("/a" * n))


def rows(n):
    return Run(listed("r %s v %s", "Props: /l?x k:0 v:1"), numbered(n),
               out=lines(f"r {i} v {i}" for i in range(n)))


case("rows", 1_000_000, rows)
case("rows-one-by-one", 100_000, lambda n: replace(rows(n), command=ONE_BY_ONE))
# Each of 1,000,000 paths has one record.
case("rows-of-own-shape", 1_000_000, lambda n: Run(CONFIG + node("one", "config", "get_one", f"Uri: /r{n - 1}") +
     line("line", "one", "%s", f"Props: /r{n - 1} v:0"),
     records((f"/r{i}", f'{{"v":{i}}}') for i in range(n)), out=f"{n - 1}\n"))


def properties_of_path(n):
    return Run(data=records((f"/l/x;k={i}", f'{{"p{i}":1}}') for i in range(n)), status=1,
               err=f'd.json:1:1: too many values: {n} records of "/l/x" with {n + 1} properties each\n')


# Each record of a path gives a property of its own: n * n values. The least that are too many are 8,000 of them.
case("properties-of-path", 100_000, lambda n: properties_of_path(max(n, 8_000)))


def every_second_empty(n):
    return Run(listed("r %s", "Props: /l?x k:0") +
               node("inner", "list", "get_collection", "Uri: /l/x;k=$?y") +
               line("below", "inner", "y %s of %s", "Props: /l/x;k=$?y j:0", "Props: /l?x k:1"),
               records((f"/l/x;k={i}{below}", "{}") for i in range(n)
                       for below in ["", f"/y;j={i}a", f"/y;j={i}b"][:3 if i % 2 else 1]),
               out=lines(text for i in range(n)
                         for text in [f"r {i}", f"y {i}a of {i}", f"y {i}b of {i}"][:3 if i % 2 else 1]))


case("every-second-empty", 100_000, every_second_empty)
case("nested-one-by-one", 100_000, lambda n: replace(every_second_empty(n), command=ONE_BY_ONE))
case("every-second-without-record", 100_000, lambda n: Run(listed("r %s", "Props: /l?x k:0") +
     node("inner", "list", "get_one", "Uri: /l/x;k=$/y") +
     line("below", "inner", "y of %s", "Props: /l/x;k=$/y v:0"),
     records((f"/l/x;k={i}{below}", f'{{"v":{i}}}') for i in range(n) for below in ["", "/y"][:2 if i % 2 else 1]),
     out=lines(text for i in range(n) for text in [f"r {i}", f"y of {i}"][:2 if i % 2 else 1])))


def lists_below_other(n):
    """The inner list of every parent is asked for twice; the second time each parent asks again."""
    inner = (node("{0}", "list", "get_collection", "Uri: /l/x;k=$?y") +
             line("{0}line", "{0}", "{0} %s", "Props: /l/x;k=$?y j:0"))
    return Run(listed("r %s", "Props: /l?x k:0") + inner.format("a") + inner.format("b"),
               records((f"/l/x;k={i}{below}", "{}") for i in range(n) for below in ("", f"/y;j={i}")),
               out=lines(text for i in range(n) for text in [f"r {i}", f"a {i}", f"b {i}"]))


case("lists-below-other", 100_000, lists_below_other)


def grouped(n, value):
    """Records in groups by v; a line a group, and one a member."""
    groups = {}
    for i in range(n):
        groups.setdefault(value(i), []).append(i)
    templates = (CONFIG + node("groups", "config", "get_collection", "Uri: /l/x", "Orderby: v", "Group:") +
                 node("iter", "groups", "iter", "LocationScheme: SLOT") +
                 line("member", "iter", "m %s of %s", "Props: l/x;k=! k:0 v:1"))
    return Run(templates, records((f"/l/x;k={i}", f'{{"v":{value(i)}}}') for i in range(n)),
               out=lines(f"m {i} of {v}" for v in sorted(groups) for i in groups[v]))


case("groups-of-one", 100_000, lambda n: grouped(n, lambda i: n - i))
case("group-of-all", 100_000, lambda n: grouped(n, lambda i: 7))


def by_location(n):
    def at(i):
        return (i * 7919 % n) // 1000, (i * 7919 % n) % 1000
    order = sorted(range(n), key=at)
    return Run(CONFIG + node("list", "config", "get_collection", "Uri: /l?x", "LocationScheme: SLOT") +
               line("line", "list", "%s", "Props: /l?x k:0"),
               records(("//locations;loc=%d.%d/l/x;k=%d" % (*at(i), i), "{}") for i in range(n)),
               out=lines(order))


case("by-location", 1_000_000, by_location)
case("one-location", 1_000_000, lambda n:
     Run(CONFIG + node("list", "config", "get_collection", "Uri: /l?x", "LocationScheme: SLOT") +
     line("line", "list", "%s", "Props: /l?x k:0"),
     records((f"//locations;loc=0.1/l/x;k={i}", "{}") for i in range(n)), out=lines(range(n))))

# A list that cannot be read below each row: as many errors as rows, and the render goes on.
case("errors", 100_000, lambda n:
     Run(listed("r %s", "Props: /l?x k:0") + node("bad", "list", "get_collection", "Uri: /l/x;k=$/y"),
     records((f"/l/x;k={i}", "{}") for i in range(n)), out=lines(f"r {i}" for i in range(n)),
     err="error 103: Error using the collection\n" * n, status=1))
case("named-in-pending", 100_000, lambda n: Run(one("x %s", "Props: /r p:0"),
     records([("/r", '{"p":1,"_pending_attrs":"' + "".join(f"q{i}:" for i in range(n)) + 'p"}')]),
     out="! The command below had failures during processing\n\nx 1\n"))
case("json-depth", 10_000_000, lambda n: Run(data=record('"p":' + "[" * n + "]" * n), status=1,
     err="d.json:1:84: nested deeper than 64 levels\n"))
case("json-depth-of-objects", 10_000_000, lambda n:
     Run(data='{"a":' * n, err="d.json:1:321: nested deeper than 64 levels\n", status=1))
case("data-string", 100_000_000, lambda n:
     Run(one("x", "Props: /r p:0", "Cond: (set $tvr0)"), record(f'"p":"{"v" * n}"'), out="x\n"))
case("key-name", 1_000_000, lambda n:
     Run(one("%s", f"Props: /r {'k' * n}:0"), record(f'"{"k" * n}":1'), out="1\n"))
case("same-uri", 100_000, lambda n: Run(data=records(("/r", "{}") for i in range(n)), status=1,
     err='d.json:1:21: duplicate record "/r"\n'))
case("elements-nested", 100_000, lambda n:
     Run(one("a %s", "Props: /r a:0"), records([("/r", '{"a":[' + ",".join(["[1,2]"] * n) + "]}")]),
     out="a " + " ".join(["1,2"] * n) + "\n"))
case("classes", 100_000, lambda n: Run(one("%s", "Props: /r p:0"), '{"classes":{' +
     ",".join(f'"/c{i}":{{"p":{{"default":{i}}}}}' for i in range(n)) + '},"records":{"/r":{"p":1}}}', out="1\n"))

# The program


def unused_arguments(n):
    where = ": only a list that is named as NODE and has a 'Query:' is searched"
    return lines(f"warning: no query uses the argument a{i}{where}" for i in range(min(n, 3))) + (
        f"warning: no query uses {n - 3} more arguments\n" if n > 3 else "")


# The stack bounds what a command line may hold, so this one has more.
case("arguments", 100_000, lambda n: Run(CONFIG + line("a", "config", "x"), out="x\n", stack_kib=65536,
     err=unused_arguments(n), command=("render", *(f"--arg=a{i}=v" for i in range(n)))))
case("get-rows", 100_000, lambda n: Run("", records((f"/l/x;k={i}", "{}") for i in range(n)), command=("get", "/l?x"),
     out=lines(f'{{"_uri":"/l/x;k={i}","k":"{i}"}}' for i in range(n))))
case("tree-of-siblings", 100_000, lambda n: Run(siblings(n).templates, command=("tree",),
     out="ROOT no_op\n  config no_op\n" + lines(f'    n{i} print_if "l {i}"' for i in range(n))))
case("tree-of-chain", 100_000, lambda n: Run(chain(n).templates, command=("tree",),
     out="ROOT no_op\n  config no_op\n" + lines(" " * min(2 * i + 4, 2000) + f"n{i} no_op" for i in range(n))))
case("check-of-nested", 100_000, lambda n: replace(every_second_empty(n), out="", command=("check",)))
case("check-of-paths", 100_000, lambda n: Run(CONFIG, records((f"/r{i}", "{}") for i in range(n)), command=("check",),
     out=lines(f"d.json:1: warning [unread-records]: no template reads /r{i} (1 record)"
     for i in sorted(map(str, range(n))))))
