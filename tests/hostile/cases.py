"""Hostile sizes: each case makes templates and data of a size, and says by a formula of its own what comes.

A case is a function of its size that returns a Run. CASES names the full size of each; the release build is
tested at that, a build with sanitizers at a hundredth.
"""
from dataclasses import dataclass, field

CONFIG = "Cmd: config\nOp: no_op\n"
DEEP = "error 10000: Template tree nested too deep\n"
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


def case(size):
    def add(function):
        CASES[function.__name__.replace("_", "-")] = (function, size)
        return function
    return add


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

@case(10_000_000)
def template_line(n):
    return Run(CONFIG + line("a", "config", "x" * n), out="x" * n + "\n")


@case(100_000)
def siblings(n):
    return Run(CONFIG + "".join(line(f"n{i}", "config", f"l {i}") for i in range(n)),
               out=lines(f"l {i}" for i in range(n)))


@case(100_000)
def tree_bottom_up(n):
    """A binary heap of records, the last first: each adopts the two that waited for it."""
    def walk():
        stack = [1]
        while stack:
            i = stack.pop()
            yield f"l {i}"
            stack += [child for child in (2 * i, 2 * i + 1) if child <= n]
    made = [line(f"n{i}", f"n{i // 2}" if i > 1 else "config", f"l {i}") for i in range(1, n + 1)]
    return Run("".join(reversed(made)) + CONFIG, out=lines(walk()))


def links(n):
    return [node(f"n{i}", f"n{i - 1}" if i else "config") for i in range(n)]


@case(100_000)
def chain(n):
    return Run(CONFIG + "".join(links(n)), err=DEEP, status=1)


@case(100_000)
def chain_bottom_up(n):
    return Run("".join(reversed(links(n))) + CONFIG, err=DEEP, status=1)


@case(100_000)
def chain_odd_links_first(n):
    made = links(n)
    return Run(CONFIG + "".join(made[1::2] + made[0::2]), err=DEEP, status=1)


@case(100_000)
def adopters_below_chain(n):
    """Each of the last third adopts a waiting node while it hangs below a chain of the first third."""
    third = n // 3
    return Run(CONFIG + "".join(links(third)) +
               "".join(node(f"w{i}", f"a{i}") for i in range(third)) +
               "".join(node(f"a{i}", f"n{third - 1}") for i in range(third)),
               **({"err": DEEP, "status": 1} if third > 1000 else {}))


@case(100_000)
def chain_checked(n):
    return Run(CONFIG + "".join(links(n)), command=("check",))


@case(999)
def nested_lines(n):
    """As deep as a walk goes: config and 999 below it."""
    n = 998
    return Run(CONFIG + "".join(line(f"n{i}", f"n{i - 1}" if i else "config", f"l {i}") for i in range(n)),
               out=lines(f"l {i}" for i in range(n)))


@case(1000)
def nested_lines_too_deep(n):
    n = 999
    return Run(CONFIG + "".join(line(f"n{i}", f"n{i - 1}" if i else "config", f"l {i}") for i in range(n)),
               out=lines(f"l {i}" for i in range(n - 1)), err=DEEP, status=1)


@case(100_000)
def jumps_to_one(n):
    return Run(CONFIG + "".join(node(f"j{i}", "config", "push_mode", "Dest: mode") for i in range(n)) +
               node("mode", "") + line("x", "mode", "x"), out=" x\n" * n)


@case(100_000)
def jump_chain(n):
    return Run(CONFIG + node("j", "config", "push_mode", "Dest: m0") +
               each(n, lambda i: node(f"m{i}", "") + node(f"j{i}", f"m{i}", "push_mode", f"Dest: m{i + 1}")) +
               node(f"m{n}", ""), err=DEEP, status=1)


@case(100_000)
def jump_cycle(n):
    """A ring of jumps, entered from config."""
    return Run(CONFIG + node("j", "config", "push_mode", "Dest: m0") +
               each(n, lambda i: node(f"m{i}", "") +
                    node(f"j{i}", f"m{i}", "push_mode", f"Dest: m{(i + 1) % 100}")),
               err="error 10000: Jump into a node that is being walked\n", status=1)


@case(100_000)
def same_id(n):
    return Run(CONFIG + node("a") * max(n, 2), err="t/0.tvr:9: Failed to add node to tree: a\n", status=1)


@case(10_000)
def slots(n):
    n = 10_000
    return Run(one("%s " * n, "Props: /r " + " ".join(f"p:{i}" for i in range(n))),
               record('"p":1'), out=" ".join(["1"] * n) + "\n")


@case(1_000_000)
def slots_too_many(n):
    n = max(n, 10_001)
    return Run(one("%s " * n), err="t/0.tvr:10: Too many slots in format: line\n", status=1)



@case(100_000)
def properties(n):
    """A line that names 100,000 properties, each in slot 0: the last one counts."""
    return Run(one("%s", "Props: /r " + " ".join(f"p{i}:0" for i in range(n))),
               records([("/r", "{" + ",".join(f'"p{i}":{i}' for i in range(n)) + "}")]), out=f"{n - 1}\n")


@case(100_000)
def properties_of_condition(n):
    return Run(one("x", "Props: /r" + each(n, lambda i: f" p{i}:{i}"), f"Cond: (eq $tvr{n - 1} {n - 1})"),
               records([("/r", "{" + ",".join(f'"p{i}":{i}' for i in range(n)) + "}")]), out="x\n")


@case(100_000)
def uris_of_line(n):
    return Run(one("%s", *("Props: /r p:0" for i in range(n))), record('"p":1'), out="1\n")


@case(100_000)
def value_map(n):
    return Run(listed("%s", "Props: /l?x v:0", "ValueMap: 0 " + " ".join(f"{i} t{i}" for i in range(n))),
               numbered(n), out=lines(f"t{i}" for i in range(n)))



@case(100_000)
def order_keys(n):
    keys = each(n, lambda i: f"Orderby: p{i}\n")
    return Run(CONFIG + node("list", "config", "get_collection", "Uri: /l?x", keys) +
               line("line", "list", "%s", "Props: /l?x k:0"),
               records((f"/l/x;k={i}", f'{{"p{n - 1}":{-i}}}') for i in range(3)), out="2\n1\n0\n")


@case(100_000)
def condition_terms(n):
    return Run(one("x", "Props: /r p:0", "Cond: (and" + " (eq $tvr0 1)" * n + ")"),
               record('"p":1'), out="x\n")


@case(100_000)
def condition_names(n):
    return Run(one("x", "Props: /r p:0", "Cond: (or" + each(n, lambda i: f" $tvr{i + 1}") + " $tvr0)"),
               record('"p":1'), out="x\n")


@case(10_000_000)
def condition_text(n):
    return Run(one("x", "Props: /r p:0", f'Cond: (ne $tvr0 "{"x" * n}")'),
               record('"p":1'), out="x\n")


@case(1_000_000)
def condition_parentheses(n):
    return Run(one("x", "Props: /r p:0", "Cond: " + "(and " * n + "$tvr0" + ")" * n),
               record('"p":1'),
               err="error 10000: condition: groups nested more than 64 deep at column 322\n", status=1)


@case(100_000)
def template_files(n):
    files = {f"{i:06}.tvr": line(f"n{i}", "config", f"l {i}") for i in range(n)}
    return Run(out=lines(f"l {i}" for i in range(n)), files=files)


# Data

@case(10_000_000)
def value(n):
    return Run(one("%s", "Props: /r p:0"), records([("/r", f'{{"p":"{"v" * n}"}}')]), out="v" * n + "\n")


@case(10_000_000)
def value_escaped(n):
    return Run(one("%s", "Props: /r p:0"), records([("/r", '{"p":"' + '\\" ' * (n // 4) + '"}')]),
               out='"' + '\\" ' * (n // 4) + '"\n')


def numbers(n):
    return record(f'"a":[{",".join(map(str, range(n)))}]')


def array(fmt, layout, n, out):
    return Run(one(fmt, f"Props: /r a:{layout}"), numbers(n), out=out)


@case(1_000_000)
def array_in_line(n):
    return array("a %s", "0", n, "a " + " ".join(map(str, range(n))) + "\n")


@case(1_000_000)
def array_lines(n):
    return array("a %s.%s", "1::multiline:0", n, lines(f"a {i}.{i}" for i in range(n)))


@case(1_000_000)
def array_pairs(n):
    return array("a %s b %s", "0:::1", n, "a " + " ".join(f"{i} b {i}" for i in range(n)) + "\n")


@case(1_000_000)
def array_independent(n):
    return array("a %s b %s", "0:::1::independent", n,
                 f"a {' '.join(map(str, range(n)))} b {' '.join(map(str, range(n)))}\n")


@case(1_000_000)
def array_lines_of_condition(n):
    return Run(one("a %s %s", "Props: /r a:0::multiline:1", f"Cond: (ge $tvr1 {n - 1})"),
               numbers(n), out=f"a {n - 1} {n - 1}\n")


@case(64)
def arrays_inside(n):
    n = 64
    return Run(one("%s " * n, *(f"Props: /r a:{i}::multiline" for i in range(n))),
               record('"a":[1]'), out=" ".join(["1"] * n) + "\n")


@case(65)
def arrays_inside_too_deep(n):
    n = 65
    return Run(one("%s " * n, *(f"Props: /r a:{i}::multiline" for i in range(n))),
               record('"a":[1]'), err="error 10000: Array expansion nested too deep\n", status=1)


@case(10_000)
def uri_segments(n):
    uri = "/a" * n
    return Run(CONFIG + node("one", "config", "get_one", f"Uri: {uri}") +
               line("line", "one", "%s", f"Props: {uri} p:0"),
               records([(uri, '{"p":1}')]), out="1\n")


@case(10_000)
def uri_segments_of_list(n):
    uri = "/l/x;k=$" + "/a" * n
    return Run(CONFIG + node("list", "config", "get_collection", "Uri: /l?x") +
               node("below", "list", "get_collection", f"Uri: {uri}?b") +
               line("line", "below", "%s", f"Props: {uri}?b p:0"),
               records([("/l/x;k=1", "{}"), ("/l/x;k=1" + "/a" * n + "/b;k=2", '{"p":1}')]), out="1\n")


@case(1_000_000)
def rows(n):
    return Run(listed("r %s v %s", "Props: /l?x k:0 v:1"), numbered(n),
               out=lines(f"r {i} v {i}" for i in range(n)))


@case(1_000_000)
def rows_of_own_shape(n):
    """Each of 1,000,000 paths has one record."""
    return Run(CONFIG + node("one", "config", "get_one", f"Uri: /r{n - 1}") +
               line("line", "one", "%s", f"Props: /r{n - 1} v:0"),
               records((f"/r{i}", f'{{"v":{i}}}') for i in range(n)), out=f"{n - 1}\n")


@case(100_000)
def properties_of_path(n):
    """Each record of a path gives a property of its own: n * n values."""
    n = max(n, 8_000)
    return Run(data=records((f"/l/x;k={i}", f'{{"p{i}":1}}') for i in range(n)), status=1,
               err=f'd.json:1:1: too many values: {n} records of "/l/x" with {n + 1} properties each\n')


@case(100_000)
def every_second_empty(n):
    return Run(listed("r %s", "Props: /l?x k:0") +
               node("inner", "list", "get_collection", "Uri: /l/x;k=$?y") +
               line("below", "inner", "y %s of %s", "Props: /l/x;k=$?y j:0", "Props: /l?x k:1"),
               records((f"/l/x;k={i}{below}", "{}") for i in range(n)
                       for below in ["", f"/y;j={i}a", f"/y;j={i}b"][:3 if i % 2 else 1]),
               out=lines(text for i in range(n)
                         for text in [f"r {i}", f"y {i}a of {i}", f"y {i}b of {i}"][:3 if i % 2 else 1]))


@case(100_000)
def every_second_without_record(n):
    return Run(listed("r %s", "Props: /l?x k:0") +
               node("inner", "list", "get_one", "Uri: /l/x;k=$/y") +
               line("below", "inner", "y of %s", "Props: /l/x;k=$/y v:0"),
               records((f"/l/x;k={i}{below}", f'{{"v":{i}}}') for i in range(n)
                       for below in ["", "/y"][:2 if i % 2 else 1]),
               out=lines(text for i in range(n) for text in [f"r {i}", f"y of {i}"][:2 if i % 2 else 1]))


@case(100_000)
def lists_below_other(n):
    """The inner list of every parent is asked for twice; the second time each parent asks again."""
    inner = (node("{0}", "list", "get_collection", "Uri: /l/x;k=$?y") +
             line("{0}line", "{0}", "{0} %s", "Props: /l/x;k=$?y j:0"))
    return Run(listed("r %s", "Props: /l?x k:0") + inner.format("a") + inner.format("b"),
               records((f"/l/x;k={i}{below}", "{}") for i in range(n) for below in ("", f"/y;j={i}")),
               out=lines(text for i in range(n) for text in [f"r {i}", f"a {i}", f"b {i}"]))


@case(100_000)
def rows_one_by_one(n):
    run = rows(n)
    run.command = ("render", "--fetch-count", "1")
    return run


@case(100_000)
def nested_one_by_one(n):
    run = every_second_empty(n)
    run.command = ("render", "--fetch-count", "1")
    return run


def grouped(n, count, value):
    """Records in groups by v; a line a group, and one a member."""
    groups = {}
    for i in range(n):
        groups.setdefault(value(i), []).append(i)
    templates = (CONFIG + node("groups", "config", "get_collection", "Uri: /l/x", "Orderby: v", "Group:") +
                 node("iter", "groups", "iter", "LocationScheme: SLOT") +
                 line("member", "iter", "m %s of %s", "Props: l/x;k=! k:0 v:1"))
    return Run(templates, records((f"/l/x;k={i}", f'{{"v":{value(i)}}}') for i in range(n)),
               out=lines(f"m {i} of {v}" for v in sorted(groups) for i in groups[v]))


@case(100_000)
def groups_of_one(n):
    return grouped(n, n, lambda i: n - i)


@case(100_000)
def group_of_all(n):
    return grouped(n, 1, lambda i: 7)


@case(1_000_000)
def by_location(n):
    def at(i):
        return (i * 7919 % n) // 1000, (i * 7919 % n) % 1000
    order = sorted(range(n), key=at)
    return Run(CONFIG + node("list", "config", "get_collection", "Uri: /l?x", "LocationScheme: SLOT") +
               line("line", "list", "%s", "Props: /l?x k:0"),
               records(("//locations;loc=%d.%d/l/x;k=%d" % (*at(i), i), "{}") for i in range(n)),
               out=lines(order))


@case(1_000_000)
def one_location(n):
    return Run(CONFIG + node("list", "config", "get_collection", "Uri: /l?x", "LocationScheme: SLOT") +
               line("line", "list", "%s", "Props: /l?x k:0"),
               records((f"//locations;loc=0.1/l/x;k={i}", "{}") for i in range(n)), out=lines(range(n)))


@case(100_000)
def errors(n):
    """A list that cannot be read below each row: as many errors as rows, and the render goes on."""
    return Run(listed("r %s", "Props: /l?x k:0") + node("bad", "list", "get_collection", "Uri: /l/x;k=$/y"),
               records((f"/l/x;k={i}", "{}") for i in range(n)), out=lines(f"r {i}" for i in range(n)),
               err="error 103: Error using the collection\n" * n, status=1)


@case(100_000)
def named_in_pending(n):
    return Run(one("x %s", "Props: /r p:0"),
               records([("/r", '{"p":1,"_pending_attrs":"' + "".join(f"q{i}:" for i in range(n)) + 'p"}')]),
               out="! The command below had failures during processing\n\nx 1\n")


@case(10_000_000)
def json_depth(n):
    return Run(data=record('"p":' + "[" * n + "]" * n), status=1,
               err="d.json:1:84: nested deeper than 64 levels\n")


@case(10_000_000)
def json_depth_of_objects(n):
    return Run(data='{"a":' * n, err="d.json:1:321: nested deeper than 64 levels\n", status=1)


@case(100_000_000)
def data_string(n):
    return Run(one("x", "Props: /r p:0", "Cond: (set $tvr0)"), record(f'"p":"{"v" * n}"'), out="x\n")


@case(1_000_000)
def key_name(n):
    name = "k" * n
    return Run(one("%s", f"Props: /r {name}:0"), records([("/r", f'{{"{name}":1}}')]), out="1\n")


@case(100_000)
def same_uri(n):
    return Run(data=records(("/r", "{}") for i in range(n)), status=1,
               err='d.json:1:21: duplicate record "/r"\n')


@case(100_000)
def elements_nested(n):
    return Run(one("a %s", "Props: /r a:0"), records([("/r", '{"a":[' + ",".join(["[1,2]"] * n) + "]}")]),
               out="a " + " ".join(["1,2"] * n) + "\n")


@case(100_000)
def classes(n):
    known = ",".join(f'"/c{i}":{{"p":{{"default":{i}}}}}' for i in range(n))
    data = '{"classes":{' + known + '},"records":{"/r":{"p":1}}}'
    return Run(one("%s", "Props: /r p:0"), data, out="1\n")


# The program

@case(100_000)
def arguments(n):
    """The stack bounds what a command line may hold, so this one has more."""
    return Run(CONFIG + line("a", "config", "x"), out="x\n", stack_kib=65536,
               command=("render", *(f"--arg=a{i}=v" for i in range(n))))


@case(100_000)
def get_rows(n):
    return Run("", records((f"/l/x;k={i}", "{}") for i in range(n)), command=("get", "/l?x"),
               out=lines(f'{{"_uri":"/l/x;k={i}","k":"{i}"}}' for i in range(n)))


@case(100_000)
def tree_of_siblings(n):
    return Run(siblings(n).templates, command=("tree",),
               out="ROOT no_op\n  config no_op\n" + lines(f'    n{i} print_if "l {i}"' for i in range(n)))


@case(100_000)
def tree_of_chain(n):
    return Run(chain(n).templates, command=("tree",),
               out="ROOT no_op\n  config no_op\n" +
               lines(" " * min(2 * i + 4, 2000) + f"n{i} no_op" for i in range(n)))


@case(100_000)
def check_of_nested(n):
    run = every_second_empty(n)
    return Run(run.templates, run.data, command=("check",))


@case(100_000)
def check_of_paths(n):
    return Run(CONFIG, records((f"/r{i}", "{}") for i in range(n)), command=("check",),
               out=lines(f"d.json:1: warning [unread-records]: no template reads /r{i} (1 record)"
                         for i in sorted(map(str, range(n)))))
