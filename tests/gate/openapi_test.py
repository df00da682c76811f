#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The document of the API: it holds together, describes this device's classes and no others, and
requests that are made from it by chance are understood: openapi_test.py VORN-GATE [SEED], in the
sandbox."""
import random
import re
import sys
import unittest
import urllib.parse

import jsonschema

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


def mistakes(document, schema, value):
    """What is wrong with a value in the eyes of a schema of the document."""
    whole = {**schema, "components": document["components"]}
    return [f"{list(each.absolute_path)}: {each.message}"
            for each in jsonschema.Draft202012Validator(whole).iter_errors(value)]


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

    def described(self, path, method, status, answer):
        """That an answer is what the document says of that path; the answer."""
        self.assertEqual(answer.status, status, (path, answer.body))
        told = resolve(self.document, self.document["paths"][path][method]["responses"][str(status)])
        schema = told["content"]["application/json"]["schema"]
        self.assertEqual(mistakes(self.document, schema, answer.json), [], (path, answer.json))
        return answer.json

    def test_has_schemas_that_are_some(self):
        for name, schema in self.document["components"]["schemas"].items():
            jsonschema.Draft202012Validator.check_schema(schema)
            self.assertNotEqual(schema, {"type": "object"}, name)

    def test_describes_what_is_answered(self):
        count = 0
        for path, item in self.document["paths"].items():
            if "get" not in item or "{" in path or path in ("/events", "/session", "/metrics"):
                continue
            answer = self.described(path, "get", 200, ROOT.get(path))
            for each in answer.get("objects", ()):
                if "name" in each and path + "/{name}" in self.document["paths"]:
                    one = ROOT.get(path + "/" + urllib.parse.quote(each["name"], safe=""))
                    self.described(path + "/{name}", "get", 200, one)
                    count += 1
        self.assertGreater(count, 100)

    def test_describes_what_is_answered_to_changes(self):
        def change(address):
            return {"changes": [{"op": "update", "class": "static-address", "name": "lan",
                                 "properties": {"address": address}}]}
        self.described("/changes", "post", 200, ROOT.post("/changes", change("192.168.1.2")))
        explained = ROOT.post("/changes", {**change("192.168.1.3"), "explain": True})
        self.assertTrue(self.described("/changes", "post", 200, explained)["changes"])
        for address in ("192.168.1.255", "a.b"):
            refused = ROOT.post("/changes", {**change(address), "explain": True})
            self.assertTrue(self.described("/changes", "post", 200, refused)["refused"])
        for word in ("confirm", "revert"):
            address = "192.168.1.4" if word == "confirm" else "192.168.1.5"
            begun = ROOT.post("/changes", {**change(address), "trial": 60})
            trial = self.described("/changes", "post", 200, begun)["trial"]
            self.described("/trial", "get", 200, ROOT.get("/trial"))
            ended = ROOT.post("/trial/" + word, {"id": trial["id"]})
            self.described("/trial/" + word, "post", 200, ended)
        newest, older = [each["id"] for each in ROOT.get("/history").json["generations"][:2]]
        for path, real in (("/history/{n}", f"/history/{older}"),
                           ("/history/{n}/diff", f"/history/{older}/diff"),
                           ("/history/{n}/diff/{m}", f"/history/{older}/diff/{newest}")):
            self.described(path, "get", 200, ROOT.get(real))
        for body in ({"explain": True}, {}):
            self.described("/history/{n}/rollback", "post", 200,
                           ROOT.post(f"/history/{older}/rollback", body))

    def test_z_allows_only_what_is_understood(self):
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
                self.assertEqual(mistakes(self.document, problem, answer.json), [], answer.json)
            done += answer.status == 200
            if answer.status == 200 and "trial" in answer.json:  # it would be in the others' way
                reverted = ROOT.post("/trial/revert", {"id": answer.json["trial"]["id"]})
                self.assertEqual(reverted.status, 200, (body, reverted.body))
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
    gate.end(GATE, DAEMON)
    sys.exit(not RESULT.wasSuccessful())
