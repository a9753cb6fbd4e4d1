"""Names the Objective-C methods that a file defines and nothing declares.

Objective-C has no `override`: a delegate method with a misspelt selector compiles without a word and is never called. So
a method in an @implementation of the file itself has to be declared somewhere in the translation unit (an @interface, a
class extension, a category or a @protocol, the system's or our own).
"""
import re

ATTRIBUTE = re.compile(r"__attribute__\s*\(\(.*?\)\)")


def selector(declaration):
    """The selector of a declaration such as '- (void)foo:(int)a bar:(id)b'."""
    text, depth = "", 0
    for character in ATTRIBUTE.sub(" ", declaration):
        if character == "(":
            depth += 1
        elif character == ")":
            depth -= 1
        elif depth == 0:
            text += character
    parts = re.findall(r"(\w*)\s*:", text)
    if parts:
        return "".join(part + ":" for part in parts)
    name = re.search(r"\w+", text)
    return name.group(0) if name else None


def property_methods(declaration):
    """The getter and the setter of the text between '@property' and ';'."""
    for kind in ("getter", "setter"):
        named = re.search(kind + r"\s*=\s*(\w+:?)", declaration)
        if named:
            yield named.group(1)
    name = re.search(r"(\w+)\s*$", re.sub(r"\([^()]*\)", " ", ATTRIBUTE.sub(" ", declaration)).strip())
    if name:
        yield name.group(1)
        yield f"set{name.group(1)[:1].upper()}{name.group(1)[1:]}:"


def lines_of(preprocessed, file_name):
    """Each line of preprocessed text, with its number and whether it comes from the file itself."""
    ours, number = False, 0
    for text in preprocessed.split("\n"):
        marker = re.match(r'#\s+(\d+)\s+"([^"]*)"', text)
        if marker:
            number, ours = int(marker.group(1)), marker.group(2).split("/")[-1] == file_name
            continue
        yield ours, number, text.strip()
        number += 1


def opened_scope(text):
    """'interface', 'protocol' or 'implementation' when the line begins one."""
    found = re.search(r"@(interface|protocol|implementation)\b", text)
    if not found:
        return None
    is_forward = found.group(1) == "protocol" and re.search(r"@protocol\s*(\(|[\w\s,]+;)", text)
    return None if is_forward else found.group(1)


def undeclared_methods(preprocessed, file_name):
    """The (line, selector) of each such method of the file, given the preprocessed translation unit."""
    declared, defined = set(), []
    scope, declaration, start = None, "", 0
    for ours, number, text in lines_of(preprocessed, file_name):
        opened = opened_scope(text)
        if opened or re.match(r"@end\b", text):
            scope, declaration = opened, ""
            continue
        if scope is None:
            continue
        if not declaration:
            found = re.search(r"@property\b(.*);", text)
            if found:
                declared.update(property_methods(found.group(1)))
                continue
            if not re.match(r"[+-]\s*\(", text):
                continue
            start = number
        declaration += " " + text
        end = re.search(r"[;{]", declaration)
        if not end:
            continue
        name = selector(declaration[: end.start()])
        if name and scope != "implementation":
            declared.add(name)
        elif name and ours and declaration[end.start()] == "{":
            defined.append((start, name))
        declaration = ""
    return [(line, name) for line, name in defined if name not in declared]
