"""The cloud protocol as docs/openapi.json tells it: which operation a request is, and what is wrong with what was said.

Reads that part of JSON Schema which the document uses. An object is closed: a field that its schema does not name is a
problem, since clients pass over such fields silently and nobody would notice.
"""
import json
import pathlib
import pkgutil
import re
import urllib.parse

HIDDEN = "(hidden)"  # what a journal shows in place of a secret
# Headers of HTTP itself, which every answer may carry.
ORDINARY = {"date", "connection", "content-length", "content-type", "cache-control", "keep-alive", "transfer-encoding"}


def load():
    """The document: beside the program when it is one file, else in the tree."""
    if not pathlib.Path(__file__).exists():
        return json.loads(pkgutil.get_data("protocol", "openapi.json"))
    return json.loads((pathlib.Path(__file__).resolve().parents[2] / "docs" / "openapi.json").read_text("utf-8"))


def type_of(value):
    if value is None:
        return "null"
    if isinstance(value, bool):
        return "boolean"
    for kind, name in ((int, "integer"), (float, "number"), (str, "string"), (list, "array"), (dict, "object")):
        if isinstance(value, kind):
            return name
    raise TypeError(value)


class Operation:
    def __init__(self, method, template, path_item):
        self.method, self.template, self.data = method, template, path_item
        self.name = path_item["operationId"]
        self.needs_token = path_item.get("security") != []
        pattern = re.sub(r"\\\{\w+\\\}", "([^/]+)", re.escape(template))
        self.pattern = re.compile("^" + pattern + "$")

    def parameters(self, place):
        return {item["name"]: item for item in self.data.get("parameters", []) if item["in"] == place}


class Protocol:
    def __init__(self, document=None):
        self.document = document or load()
        self.operations = [Operation(method.upper(), template, item)
                           for template, items in self.document["paths"].items() for method, item in items.items()]

    def find(self, method, path):
        """The operation of a request. A path with a name in it gives way to one that is written out."""
        method = "GET" if method == "HEAD" else method
        fitting = [one for one in self.operations if one.pattern.match(path)]
        fitting.sort(key=lambda one: one.template.count("{"))
        fitting = [one for one in fitting if one.template == fitting[0].template]
        return next((one for one in fitting if one.method == method), None)

    def knows_path(self, path):
        return any(one.pattern.match(path) for one in self.operations)

    def resolve(self, item):
        while "$ref" in item:
            found = self.document
            for key in item["$ref"][2:].split("/"):
                found = found[key]
            item = found
        return item

    def response(self, operation, status):
        found = operation.data["responses"].get(str(status))
        return None if found is None else self.resolve(found)

    def codes(self, operation, status):
        """The values that "errorCode" may have."""
        schema = self.resolve(self.response(operation, status)["content"]["application/json"]["schema"])
        return schema["properties"]["errorCode"]["enum"]

    def problems(self, schema, value, where=""):
        """What is wrong with a value, one text each."""
        schema = self.resolve(schema)
        here = where or "the body"
        if "anyOf" in schema:
            each = [list(self.problems(choice, value, where)) for choice in schema["anyOf"]]
            if all(each):
                yield from min(each, key=len)
            return
        kind = type_of(value)
        wanted = schema.get("type", kind)
        if kind != wanted and not (kind == "integer" and wanted == "number"):
            yield f"{here} is {kind}, not {wanted}"
            return
        if "enum" in schema and value not in schema["enum"]:
            yield f"{here} is {value!r}, none of {schema['enum']}"
        yield from getattr(self, "_" + kind)(schema, value, here, where)

    def _null(self, *_):
        return iter(())

    _boolean = _null

    def _integer(self, schema, value, here, _where):
        if value < schema.get("minimum", value) or value > schema.get("maximum", value):
            yield f"{here} is {value}, beyond {schema.get('minimum')} to {schema.get('maximum')}"

    _number = _integer

    def _string(self, schema, value, here, _where):
        if value == HIDDEN:
            return
        length = len(value.encode("utf-8", "surrogatepass"))
        if not schema.get("minLength", 0) <= length <= schema.get("maxLength", length):
            yield f"{here} has {len(value)} characters"
        if "pattern" in schema and not re.search(schema["pattern"], value):
            yield f"{here} is {value[:200]!r}, not of the form {schema['pattern']}"

    def _array(self, schema, value, here, where):
        if not schema.get("minItems", 0) <= len(value) <= schema.get("maxItems", len(value)):
            yield f"{here} has {len(value)} elements"
        for index, element in enumerate(value):
            yield from self.problems(schema["items"], element, f"{where}[{index}]")

    def _object(self, schema, value, here, where):
        properties, others = schema.get("properties", {}), schema.get("additionalProperties")
        for name in schema.get("required", []):
            if name not in value:
                yield f"{here} lacks \"{name}\""
        for name, element in value.items():
            inner = f"{where}.{name}" if where else name
            if name in properties:
                yield from self.problems(properties[name], element, inner)
            elif others is None:
                yield f"{inner} is not documented"
            else:
                yield from self.problems(others, element, inner)

    def answer_problems(self, operation, status, headers, body, any_header=False):
        """`headers`: names in any case; None: not known. `body`: the parsed JSON, or None when it is no JSON.
        `any_header`: other servers, and what stands in front of them, send headers of their own."""
        response = self.response(operation, status)
        if response is None:
            yield f"status {status} is not documented"
            return
        told = response.get("headers", {})
        if headers is not None:
            lower = {name.lower(): value for name, value in headers.items()}
            for name, header in told.items():
                if name.lower() in lower:
                    yield from self.problems(header["schema"], lower[name.lower()], name)
                elif header.get("required"):
                    yield f"the header {name} is missing"
            for name in () if any_header else lower.keys() - ORDINARY - {name.lower() for name in told}:
                yield f"the header {name} is not documented"
        json_schema = response.get("content", {}).get("application/json")
        if json_schema and body is None:
            yield "the body is no JSON"
        elif json_schema:
            yield from self.problems(json_schema["schema"], body)

    def request_problems(self, operation, query, body):
        """`query`: names to values. `body`: the parsed JSON, or None when it was none."""
        told = operation.parameters("query")
        for name, parameter in told.items():
            if name in query:
                if query[name] or parameter.get("required"):
                    yield from self.problems(parameter["schema"], query[name], name)
            elif parameter.get("required"):
                yield f"the query lacks {name}"
        for name in query.keys() - told.keys():
            yield f"the query's {name} is not documented"
        content = self.resolve(operation.data.get("requestBody", {})).get("content", {}).get("application/json")
        if content and body is not None:
            yield from self.problems(content["schema"], body)

    def journal_problems(self, entry):
        """One line of a journal with bodies. What a scenario made the cloud say is not the cloud's word."""
        where = f"{entry['method']} {entry['path']} -> {entry['status']}"
        operation = self.find(entry["method"], entry["path"])
        if operation is None:
            expected = 405 if self.knows_path(entry["path"]) else 404
            if entry["status"] != expected:
                yield f"{where}: this route is not documented"
            elif entry["status"] == 404:
                yield f"{where}: a client asked for a route that is not documented"
            return
        if entry["status"] and not entry["scenario"]:
            answer = entry.get("answer")
            for problem in self.answer_problems(operation, entry["status"], entry.get("answerHeaders"), answer):
                yield f"{where}: {problem}"
        if 200 <= entry["status"] < 300:
            for problem in self.request_problems(operation, entry.get("query", {}), entry.get("request")):
                yield f"{where}: in the request, {problem}"


def query_of(url):
    return dict(urllib.parse.parse_qsl(urllib.parse.urlsplit(url).query, keep_blank_values=True))
