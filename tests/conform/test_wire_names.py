"""The constants that client and server share, the document of the protocol and the words about it say the same."""
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tools" / "conform"), str(ROOT / "scripts")]

import checks_account  # noqa: E402, F401  (each of these brings its checks in)
import checks_files  # noqa: E402, F401
import checks_objects  # noqa: E402, F401
import checks_plans  # noqa: E402, F401
import checks_proxy  # noqa: E402, F401
from kit import CHECKS  # noqa: E402
import protocol_documents  # noqa: E402
from protocol import ORDINARY, Protocol  # noqa: E402
from sections import SECTIONS, section_of  # noqa: E402

HTTP_HEADERS = {"range", "content-range", "content-md5", "retry-after", "etag", "accept-ranges"} | ORDINARY
OPERATION_WORDS = {"kProxyUploadType", "kProxyMultipart", "kProxyResume"}


def constants(name):
    text = (ROOT / "interfaces/cloud/wire" / name).read_text(encoding="utf-8")
    return dict(re.findall(r"inline constexpr const char\* (k\w+) =\s*\"([^\"]*)\"", text))


def walk(value):
    """Every dictionary below a value."""
    if isinstance(value, dict):
        yield value
        for inner in value.values():
            yield from walk(inner)
    elif isinstance(value, list):
        for inner in value:
            yield from walk(inner)


class WireNames(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.protocol = Protocol()
        self.nodes = list(walk(self.protocol.document))
        self.words = (ROOT / "docs/cloud-protocol.md").read_text(encoding="utf-8")

    # CLOUD-WIRE-01
    def test_every_code_is_documented_and_no_other(self):
        codes = set(constants("codes.h").values())
        documented = {code for node in self.nodes for name, schema in node.get("properties", {}).items()
                      if name == "errorCode" and isinstance(schema, dict) for code in schema["enum"] if code}
        self.assertEqual(codes, documented)
        for code in codes:
            self.assertIn(f"`{code}`", self.words)

    # CLOUD-WIRE-01
    def test_every_field_is_documented_and_no_other(self):
        fields = set(constants("fields.h").values())
        documented = set()
        for node in self.nodes:
            if node.get("type") == "object":
                documented |= node.get("properties", {}).keys()
            if node.get("in") in ("query", "header"):
                documented.add(node["name"])
            if isinstance(node.get("headers"), dict) and "description" in node:
                documented |= {name for name, header in node["headers"].items() if "schema" in header}
        documented = {name for name in documented if name.lower() not in HTTP_HEADERS}
        routes = {value for name, value in constants("routes.h").items() if name in OPERATION_WORDS}
        self.assertEqual(fields, documented - (routes - fields))
        for field in fields:
            self.assertRegex(self.words, rf"\b{re.escape(field)}\b", "the words about the protocol leave it out")

    # CLOUD-WIRE-01
    def test_every_route_is_made_of_the_shared_constants_and_no_other(self):
        routes = {name: value for name, value in constants("routes.h").items() if name not in OPERATION_WORDS}
        templates, used = set(self.protocol.document["paths"]), set()
        for template in templates:
            exact = [name for name, value in routes.items() if value == template]
            head, _, tail = template.partition("{")
            parts = [[name for name, value in routes.items() if value == head]]
            suffix = tail.rpartition("}")[2]
            if suffix:
                parts.append([name for name, value in routes.items() if value == suffix])
            composed = [name for part in parts for name in part] if all(parts) else []
            self.assertTrue(exact or composed, f"{template} is not made of the constants")
            used |= set(exact or composed)
        self.assertEqual(set(routes), used, "a constant that no documented route uses")
        for value in routes.values():
            self.assertIn(value, self.words)

    # CLOUD-WIRE-01
    def test_the_words_of_the_file_proxy_are_documented(self):
        words = constants("routes.h")
        for operation in self.protocol.operations:
            if operation.name in ("proxyCreate", "proxyUpdate"):
                parameter = operation.parameters("query")[words["kProxyUploadType"]]
                self.assertEqual({words["kProxyMultipart"], words["kProxyResume"]}, set(parameter["schema"]["enum"]))

    # CLOUD-CONFORM-04
    def test_every_check_names_a_section_that_is_there(self):
        headings = set(re.findall(r"^#+ (.*)$", self.words, re.MULTILINE))
        self.assertEqual(set(), {section_of(name) for name, _, _ in CHECKS} - headings)
        known = {name for name, _, _ in CHECKS} | {name.partition(".")[0] for name, _, _ in CHECKS}
        self.assertEqual(set(), SECTIONS.keys() - known, "sections of checks that do not exist")

    # CLOUD-WIRE-02
    def test_every_reference_of_the_document_leads_somewhere_and_every_name_is_used(self):
        used = set()
        for node in self.nodes:
            if "$ref" in node:
                self.assertTrue(self.protocol.resolve(node))
                used.add(node["$ref"].rpartition("/")[2])
        components = self.protocol.document["components"]
        self.assertEqual(set(), (components["schemas"].keys() | components["responses"].keys()) - used)

    # CLOUD-WIRE-02
    def test_every_operation_has_a_name_of_its_own_and_every_field_its_limits(self):
        names = [operation.name for operation in self.protocol.operations]
        self.assertEqual(len(names), len(set(names)))
        for node in self.nodes:
            if node.get("type") == "integer":
                self.assertTrue("enum" in node or {"minimum", "maximum"} <= node.keys(), f"no limits: {node}")


    # CLOUD-WIRE-04
    def test_every_field_and_parameter_says_what_it_is(self):
        silent = [f"{name} of {list(node)}" for node in self.nodes for name, schema in node.get("properties", {}).items()
                  if isinstance(schema, dict) and not self.is_told(schema)]
        silent += [node["name"] for node in self.nodes if "in" in node and "name" in node and not self.is_told(node)]
        self.assertEqual([], silent, "a field or parameter without words")

    # CLOUD-WIRE-04
    def test_every_number_names_its_unit(self):
        unit = re.compile(r"\b(bytes?|seconds|number|counts?)\b", re.IGNORECASE)
        version = self.protocol.document["components"]["schemas"]["UploadPlan"]["properties"]["version"]
        for node in self.nodes:
            if node.get("type") == "integer" and "enum" not in node and node is not version:  # which has no unit
                self.assertRegex(node.get("description", ""), unit)

    def is_told(self, schema):
        return "description" in schema or "description" in self.protocol.resolve(schema)


class TwoDocuments(unittest.TestCase):
    """The comparison of the page with the document, each in turn altered in one place."""

    def setUp(self):
        self.page = (ROOT / "docs/cloud-protocol.md").read_text(encoding="utf-8")
        self.document = (ROOT / "docs/openapi.json").read_text(encoding="utf-8")

    def problems(self, page=("", ""), document=("", "")):
        for text, (old, _) in ((self.page, page), (self.document, document)):
            self.assertIn(old, text)
        return list(protocol_documents.problems(self.page.replace(*page, 1) if page[0] else self.page,
                                                self.document.replace(*document) if document[0] else self.document))

    # CLOUD-WIRE-06
    def test_as_they_are_they_tell_the_same(self):
        self.assertEqual([], self.problems())

    # CLOUD-WIRE-06
    def test_a_route_of_one_alone_is_told(self):
        told = self.problems(document=('"/v1/changes"', '"/v1/news"'))
        self.assertIn("the page leaves out the route GET /v1/news", told)
        self.assertIn("GET /v1/changes is no route of docs/openapi.json", told)

    # CLOUD-WIRE-06
    def test_a_status_or_a_code_of_one_alone_is_told(self):
        self.assertRegex(self.problems(page=("| 400, 409 `21004091` |", "| 409 `21004091` |"))[0],
                         "POST /v1/keys/list answers")
        self.assertRegex(self.problems(page=("409 `21004932` |", "409 `21004091` |"))[0], "object-complete answers")
        self.assertEqual(2, len(self.problems(page=("| `21004913` | 507 |", "| `21004913` | 413 |"))))
        self.assertTrue(self.problems(document=('"416": {', '"417": {')))

    # CLOUD-WIRE-06
    def test_a_field_of_one_alone_is_told_with_its_route(self):
        self.assertEqual(['GET /v1/account/space: the page leaves out "used"'],
                         self.problems(page=("`{total, used, remaining}`", "`{total, remaining}`")))
        self.assertEqual(['GET /v1/account/space: "spent" of the page is no field in docs/openapi.json'],
                         self.problems(page=("`{total, used, remaining}`", "`{total, used, spent, remaining}`")))
        self.assertEqual(['POST /v1/uploads/start: the page leaves out "synckey"'],
                         self.problems(page=("length, synckey, time, status}", "length, time, status}")))
        self.assertEqual(['the entry\'s "category" stands in one of the two only'],
                         self.problems(page=("mimeType, category, contentVersion", "mimeType, contentVersion")))


ENTRY = {"method": "GET", "path": "/v1/account/space", "status": 200, "scenario": "", "query": {}, "request": None,
         "answer": {"total": 3, "used": 1, "remaining": 2}, "answerHeaders": {"Content-Type": "application/json"}}


class Journal(unittest.TestCase):
    """What the end-to-end tests hold the journal of each cloud against."""

    def problems(self, **changes):
        return list(Protocol().journal_problems({**ENTRY, **changes}))

    # CLOUD-WIRE-05
    def test_what_the_document_tells_is_no_problem(self):
        self.assertEqual([], self.problems())
        self.assertEqual([], self.problems(method="PUT", status=405), "a wrong method that was refused")

    # CLOUD-WIRE-05
    def test_a_route_a_status_a_header_or_a_field_that_is_not_documented_is_told(self):
        self.assertRegex(self.problems(path="/v1/other")[0], "this route is not documented")
        self.assertRegex(self.problems(path="/v1/other", status=404)[0], "asked for a route that is not documented")
        self.assertRegex(self.problems(status=418)[0], "status 418 is not documented")
        self.assertRegex(self.problems(answerHeaders={"X-Other": "1"})[0], "header x-other is not documented")
        self.assertRegex(self.problems(answer={**ENTRY["answer"], "other": 1})[0], "other is not documented")
        self.assertRegex(self.problems(answer={"total": 3, "used": 1})[0], 'lacks "remaining"')
        self.assertRegex(self.problems(answer={**ENTRY["answer"], "used": -1})[0], "beyond 0 to")
        self.assertRegex(self.problems(answer={**ENTRY["answer"], "used": "1"})[0], "is string, not integer")
        self.assertRegex(self.problems(answer=None)[0], "the body is no JSON")
        self.assertRegex(self.problems(query={"other": "1"})[0], "in the request, the query's other is not documented")
        self.assertRegex(self.problems(method="POST", path="/v1/folders", request={"parentFolder": "p"},
                                       answer=None)[-1], 'in the request, the body lacks "fileName"')

    # CLOUD-WIRE-05
    def test_what_a_scenario_made_the_cloud_say_is_not_its_word(self):
        self.assertEqual([], self.problems(status=418, answer=None, scenario="rule"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
