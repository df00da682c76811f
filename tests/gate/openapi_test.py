#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The document of the API: it holds together, describes this device's classes and no others, and
requests that are made from it by chance are understood: openapi_test.py VORN-GATE [SEED], in the
sandbox."""
import random
import re
import sys
import unittest

import gate

CHANGES = 300


def resolve(document, schema):
    while "$ref" in schema:
        place = document
        for part in schema["$ref"].removeprefix("#/").split("/"):
            place = place[part]
        schema = place
    return schema


def every(value):
    """All objects in it."""
    if isinstance(value, dict):
        yield value
        for each in value.values():
            yield from every(each)
    if isinstance(value, list):
        for each in value:
            yield from every(each)


class Maker:
    """Values that a schema allows."""

    def __init__(self, document, seed):
        self.document = document
        self.chance = random.Random(seed)

    def text(self, schema):
        if "enum" in schema:
            return self.chance.choice(schema["enum"])
        if "pattern" in schema:
            return str(self.chance.randint(0, 9999))
        letters = "abcXYZ019 .:/-_<>&\"'äß\t"
        least = schema.get("minLength", 0)
        length = self.chance.randint(least, min(schema.get("maxLength", least + 20), least + 20))
        return "".join(self.chance.choice(letters) for _ in range(length))

    def make(self, schema):
        schema = resolve(self.document, schema)
        for many in ("oneOf", "anyOf"):
            if many in schema:
                return self.make(self.chance.choice(schema[many]))
        kind = schema.get("type", "object")
        if kind == "string":
            return self.text(schema)
        if kind == "integer":
            return self.chance.randint(schema.get("minimum", 0), schema.get("maximum", 1000))
        if kind == "boolean":
            return self.chance.random() < 0.5
        if kind == "array":
            count = self.chance.randint(schema.get("minItems", 0), 3)
            return [self.make(schema["items"]) for _ in range(count)]
        return {name: self.make(each) for name, each in schema.get("properties", {}).items()
                if name in schema.get("required", ()) or self.chance.random() < 0.4}


def fits(document, schema, value):
    """The part of JSON Schema that the document uses."""
    schema = resolve(document, schema)
    for many in ("oneOf", "anyOf"):
        if many in schema:
            return any(fits(document, each, value) for each in schema[many])
    kinds = {"string": str, "integer": int, "boolean": bool, "array": list, "object": dict}
    if not isinstance(value, kinds[schema.get("type", "object")]):
        return False
    if isinstance(value, str):
        return value in schema.get("enum", [value])
    if isinstance(value, list):
        return all(fits(document, schema.get("items", {}), each) for each in value)
    if isinstance(value, dict):
        known = schema.get("properties", {})
        return (all(name in value for name in schema.get("required", ())) and
                all(name in known or schema.get("additionalProperties", True) for name in value) and
                all(fits(document, known[name], each) for name, each in value.items()
                    if name in known))
    return True


class TheDocument(unittest.TestCase):
    def setUp(self):
        self.document = ROOT.get("/openapi.json").json
        self.classes = [each["name"] for each in ROOT.get("/schema").json["classes"]]

    def test_holds_together(self):
        names = []
        for each in every(self.document):
            if isinstance(each.get("$ref"), str):
                resolve(self.document, each)
            if "operationId" in each:
                names.append(each["operationId"])
                self.assertTrue(each["responses"])
                self.assertTrue(all("description" in answer or "$ref" in answer
                                    for answer in each["responses"].values()))
        self.assertEqual(len(names), len(set(names)))
        for path, item in self.document["paths"].items():
            wanted = set(re.findall(r"\{(\w+)\}", path))
            for operation in item.values():
                told = {resolve(self.document, each)["name"]
                        for each in operation.get("parameters", ())
                        if resolve(self.document, each)["in"] == "path"}
                self.assertEqual(told, wanted, path)

    def test_has_the_classes_of_the_device_and_no_others(self):
        told = {path.split("/")[2] for path in self.document["paths"]
                if path.startswith("/objects/")}
        self.assertEqual(told, set(self.classes))

    def test_describes_what_is_answered(self):
        for path, item in self.document["paths"].items():
            if "get" not in item or "{" in path or path in ("/events", "/session"):
                continue
            answer = ROOT.get(path)
            self.assertEqual(answer.status, 200, path)
            content = resolve(self.document, item["get"]["responses"]["200"])["content"]
            if "application/json" in content:
                self.assertTrue(fits(self.document, content["application/json"]["schema"],
                                     answer.json), (path, answer.json))

    def test_allows_only_what_is_understood(self):
        maker = Maker(self.document, SEED)
        schema = self.document["paths"]["/changes"]["post"]["requestBody"]["content"]
        done = 0
        for _ in range(CHANGES):
            body = maker.make(schema["application/json"]["schema"])
            for left_out in ("join", "trial", "if-match"):
                body.pop(left_out, None)
            for change in body["changes"]:
                for left_out in ("if-match", "where"):
                    change.pop(left_out, None)
            answer = ROOT.post("/changes", body)
            self.assertIn(answer.status, (200, 400, 409, 422), (body, answer.body))
            if answer.status == 409:  # a word that ends a trial, and there is none
                self.assertEqual(answer.json["errors"][0]["class"], "trial", (body, answer.body))
            if answer.status == 400:  # only what a schema can't say
                self.assertRegex(answer.json["detail"], 'needs a "name"|control character',
                                 (body, answer.body))
            if answer.status != 200:
                problem = self.document["components"]["schemas"]["problem"]
                self.assertTrue(fits(self.document, problem, answer.json), answer.json)
            done += answer.status == 200
        self.assertGreater(done, 0)


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    SEED = int(sys.argv.pop(1)) if len(sys.argv) > 1 else random.randrange(1000000)
    DAEMON = gate.start_daemon()
    GATE = gate.start_gate(PROGRAM)
    ROOT = gate.with_token("secret")
    print(f"seed {SEED}")
    RESULT = unittest.main(exit=False, warnings="ignore").result
    assert GATE.poll() is None, "the gate has ended"
    assert DAEMON.poll() is None, "the daemon has ended"
    GATE.terminate()
    DAEMON.terminate()
    DAEMON.wait()
    sys.exit(not RESULT.wasSuccessful())
