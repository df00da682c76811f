# SPDX-License-Identifier: MIT
"""Documents out of templates: Jinja2 makes the text, YAML its form.

What a variable holds is put in after the YAML was read, so that no value can change the form: a
template prints a mark, and the mark in the text that was read becomes the value. All scalars are
texts, as all values of a configuration are; neither `on` nor `010` is anything else.
"""
import re
import uuid

import jinja2
import jinja2.sandbox
import yaml

from .problem import Misused
from .text import printable

_LONGEST_TEXT = 4 * 1024 * 1024
_MOST_NESTED = 20


class _Reader(yaml.BaseLoader):
    """Complains of a member that stands there twice, and of links, which could grow without end."""

    def construct_mapping(self, node, deep=False):
        seen = set()
        for key, _ in node.value:
            if not isinstance(key, yaml.ScalarNode):
                raise yaml.constructor.ConstructorError(None, None, "a name has to be a text",
                                                        key.start_mark)
            if key.value in seen:
                raise yaml.constructor.ConstructorError(
                    None, None, f"\"{key.value}\" stands there twice", key.start_mark)
            seen.add(key.value)
        return super().construct_mapping(node, deep=deep)

    def compose_node(self, parent, index):
        if self.check_event(yaml.events.AliasEvent):
            event = self.peek_event()
            raise yaml.composer.ComposerError(None, None, "there are no references",
                                              event.start_mark)
        return super().compose_node(parent, index)


def read_yaml(text, name):
    """Mappings, lists and texts; nothing else."""
    try:
        return yaml.load(text, _Reader)
    except yaml.MarkedYAMLError as error:
        line = f":{error.problem_mark.line + 1}" if error.problem_mark else ""
        raise Misused(f"{name}{line}: {printable(error.problem or 'this is no YAML')}") from None
    except (yaml.YAMLError, RecursionError) as error:
        raise Misused(f"{name}: this is no YAML: {printable(str(error))}") from None


class _Marks:
    """The values that a template has printed, by the marks that stand for them."""

    def __init__(self):
        self._values = []
        self._secret = uuid.uuid4().hex
        self._pattern = re.compile(f"<{self._secret}:([0-9]+)>")

    def mark(self, value):
        self._values.append(value if isinstance(value, str) else str(value))
        return f"<{self._secret}:{len(self._values) - 1}>"

    def fill(self, thing):
        if isinstance(thing, dict):
            filled = {}
            for key, value in thing.items():
                filled[self._fill_text(key)] = self.fill(value)
            if len(filled) != len(thing):
                raise Misused("two names have become the same")
            return filled
        if isinstance(thing, list):
            return [self.fill(each) for each in thing]
        return self._fill_text(thing)

    def _fill_text(self, text):
        for _ in range(_MOST_NESTED):
            if self._secret not in text:
                return text
            text = self._pattern.sub(lambda found: self._values[int(found[1])], text)
            if len(text) > _LONGEST_TEXT:
                raise Misused("a value is too large")
        raise Misused("values that hold themselves")


@jinja2.pass_context
def _finalize(context, value):
    if isinstance(value, jinja2.Undefined):
        str(value)  # raises, and says what is undefined
    if not isinstance(value, (str, int, float)):
        raise TypeError(f"{type(value).__name__} is no text")
    return context["_marks"].mark(value)


def _line_of(error, name):
    """The innermost line of that file that is to blame."""
    line, trace = None, error.__traceback__
    while trace:
        if trace.tb_frame.f_code.co_filename.endswith(name):
            line = trace.tb_lineno
        trace = trace.tb_next
    return f":{line}" if line else ""


class Template:
    """One file of a folder, from which others can be included."""

    def __init__(self, folder, name):
        environment = jinja2.sandbox.ImmutableSandboxedEnvironment(
            loader=jinja2.FileSystemLoader(folder), undefined=jinja2.StrictUndefined,
            finalize=_finalize, autoescape=False, keep_trailing_newline=True)
        self.name = name
        try:
            self._template = environment.get_template(name)
        except jinja2.TemplateNotFound:
            raise Misused(f"there is no {printable(name)} in {folder}") from None
        except jinja2.TemplateSyntaxError as error:
            raise Misused(f"{error.name}:{error.lineno}: {error.message}") from None
        except UnicodeDecodeError:
            raise Misused(f"{name}: this is no UTF-8") from None

    def render(self, device, labels, variables):
        """What a document is to say to one device."""
        marks = _Marks()
        try:
            text = self._template.render(**variables, device=device, labels=labels, _marks=marks)
        except jinja2.TemplateSyntaxError as error:
            raise Misused(f"{error.name}:{error.lineno}: {error.message}") from None
        except Exception as error:  # whatever an expression can raise
            raise Misused(f"{self.name}{_line_of(error, self.name)}: for {device}: "
                          f"{printable(str(error))}") from None
        if len(text) > _LONGEST_TEXT:
            raise Misused(f"{self.name}: for {device}: {len(text)} characters are too many")
        thing = read_yaml(text, self.name)
        if not isinstance(thing, dict):
            raise Misused(f"{self.name}: has to have members, configuration among them")
        try:
            return marks.fill(thing)
        except Misused as error:
            raise Misused(f"{self.name}: for {device}: {error}") from None
