# SPDX-License-Identifier: MIT
"""What the configuration should be: each step is a request with the answer it must get, and changes
the model as it changes the daemon.
"""
import itertools

DECLARATION = '<?xml version="1.0"?>\n'
PROPERTIES = [f"p{i}" for i in range(10)]
FEWEST, MOST = 30, 60


def result(content="", error=None, count=0):
    failed = f"<error>{error}</error>" if error else ""
    return f"{content}{failed}<rc>{1 if error else 0}</rc><counter>{count}</counter>"


def reply(*results):
    return f"{DECLARATION}<lsql_result>{''.join(results)}</lsql_result>\n"


def request(operations):
    return f"<lsql>{operations}</lsql>"


def transaction(operations):
    return request(f"<write-transaction>{operations}</write-transaction>")


class Model:
    def __init__(self, chance):
        self.chance = chance
        self.items = {}
        self.label = None
        self.numbers = itertools.count(1)
        self.saves = 0

    def any_name(self):
        return self.chance.choice(list(self.items))

    def new_value(self):
        return f"value {next(self.numbers)}" + "x" * self.chance.randrange(24)

    # Reading

    def select_one(self):
        name, wanted = self.any_name(), self.chance.choice(PROPERTIES)
        value = self.items[name][wanted]
        return (request(f'<select><Item name="{name}"><{wanted}/></Item></select>'),
                reply(result(f'<dataset><Item name="{name}"><{wanted}>{value}</{wanted}></Item>'
                             "</dataset>", count=1)))

    def select_where(self):
        name = self.any_name()
        value = self.items[name]["p1"]
        return (request("<select><Item/></select><where><eq><property>p1</property>"
                        f"<value>{value}</value></eq></where>"),
                reply(result(f'<dataset><Item name="{name}"/></dataset>', count=1)))

    def select_all(self):
        found = "".join(f'<Item name="{name}"><p2>{values["p2"]}</p2></Item>'
                        for name, values in self.items.items())
        return (request("<select><Item><p2/></Item></select>"),
                reply(result(f"<dataset>{found}</dataset>", count=len(self.items))))

    def select_refreshed(self):
        return request("<select><Board><refreshed/></Board></select>"), None

    # Changing. Each of these gives an operation and its result, for both kinds of request.

    def update(self):
        name, changed, value = self.any_name(), self.chance.choice(PROPERTIES), self.new_value()
        self.items[name][changed] = value
        return (f'<update><Item name="{name}"><{changed}>{value}</{changed}></Item></update>',
                result(count=1))

    def insert(self):
        if len(self.items) >= MOST:
            return self.delete()
        name = f"item{next(self.numbers)}"
        self.items[name] = {each: self.new_value() for each in PROPERTIES}
        values = "".join(f"<{each}>{value}</{each}>" for each, value in self.items[name].items())
        return f'<insert><Item name="{name}">{values}</Item></insert>', result(count=1)

    def delete(self):
        if len(self.items) <= FEWEST:
            return self.insert()
        name = self.any_name()
        del self.items[name]
        return f'<delete><Item name="{name}"/></delete>', result(count=1)

    def in_place(self, change):
        operation, answer = change()
        return request(operation), reply(answer)

    def update_in_place(self):
        return self.in_place(self.update)

    def insert_in_place(self):
        return self.in_place(self.insert)

    def delete_in_place(self):
        return self.in_place(self.delete)

    def relabel(self):
        self.label = self.new_value()
        return (request(f"<update><Board><label>{self.label}</label></Board></update>"),
                reply(result(count=1)))

    def run(self):
        return (request(f"<update><Board><run>{next(self.numbers)}</run></Board></update>"),
                reply(result(count=1)))

    def save(self):
        self.saves += 1
        return (request(f"<update><Board><save>{next(self.numbers)}</save></Board></update>"),
                reply(result(count=1)))

    # Failing

    def be_refused(self):
        name, long = self.any_name(), "x" * 41
        return self.chance.choice([
            (request("<update><Toaster><p1>x</p1></Toaster></update>"),
             reply(result(error='Unknown class "Toaster".'))),
            (request(f'<update><Item name="{name}"><p1>{long}</p1></Item></update>'),
             reply(result(error=f'Value "{long}" is not valid for property "p1" of class "Item".'))),
            (request(f'<insert><Item name="{name}"/></insert>'),
             reply(result(error=f'Couldn\'t add instance "{name}" of class "Item".'))),
            ("<lsql><select>", ""),
        ])

    # All or nothing

    def transact(self):
        changes = [self.update, self.update, self.insert, self.delete]
        done = [self.chance.choice(changes)() for _ in range(self.chance.randrange(1, 4))]
        return (transaction("".join(operation for operation, _ in done)),
                reply(*(answer for _, answer in done)))

    def transact_in_vain(self):
        name, long = self.any_name(), "x" * 41
        return (transaction(f'<delete><Item name="{name}"/></delete>'
                            f"<update><Board><label>{long}</label></Board></update>"),
                reply(result(count=1),
                      result(error=f'Value "{long}" is not valid for property "label" of class '
                                   '"Board".')))

    def everything(self):
        """As (class, name, values), in no order."""
        items = {("Item", name, tuple(sorted(values.items())))
                 for name, values in self.items.items()}
        return items | {("Board", None, (("label", self.label),))}
