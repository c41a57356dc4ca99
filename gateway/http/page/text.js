// SPDX-License-Identifier: Apache-2.0
// Texts from outside become text nodes, never markup, and what could steer or reorder a line is escaped.

const HIDDEN = /[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u202a-\u202e\u2066-\u2069\u2028\u2029\ufeff]/g;

/** The text with control characters and marks of direction as "\u202e". */
export function printable(text) {
    return String(text).replace(HIDDEN, (c) =>
        c === '\n' ? '\\n' : c === '\t' ? '\\t' : '\\u' + c.charCodeAt(0).toString(16).padStart(4, '0'));
}

/** The same for a text that is edited: its lines and tabs stay. */
export function editable(text) {
    return text.split(/([\n\t])/).map((piece) => (piece === '\n' || piece === '\t' ? piece : printable(piece))).join('');
}

/** An element with attributes ("on…" is a listener) and children, which are elements or texts. */
export function el(name, attributes = {}, ...children) {
    const element = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) {
        if (key.startsWith('on')) {
            element.addEventListener(key.slice(2), value);
        } else if (value === true) {
            element.setAttribute(key, '');
        } else if (value !== false && value !== null && value !== undefined) {
            element.setAttribute(key, printable(value));
        }
    }
    element.append(...children.map((child) => (child instanceof Node ? child : printable(child))));
    return element;
}

/** A drawing's element. */
export function svg(name, attributes, ...children) {
    const element = document.createElementNS('http://www.w3.org/2000/svg', name);
    for (const [key, value] of Object.entries(attributes)) {
        element.setAttribute(key, value);
    }
    element.append(...children);
    return element;
}

/** JSON on several lines, with every number and text as it is written. */
export function pretty(json) {
    let text = '';
    let depth = 0;
    const newline = () => '\n' + '  '.repeat(depth);
    for (const token of json.match(/"(?:[^"\\]|\\.)*"|[{}[\],:]|[^\s{}[\],:"]+/g) ?? []) {
        if (token === '{' || token === '[') {
            ++depth;
            text += token + newline();
        } else if (token === '}' || token === ']') {
            --depth;
            text = /[{[]\s*$/.test(text) ? text.trimEnd() + token : text + newline() + token;
        } else {
            text += token === ',' ? ',' + newline() : token === ':' ? ': ' : token;
        }
    }
    return text.split('\n').map(printable).join('\n');
}

/** A button that copies a text. */
export function copyButton(text, label = 'Copy') {
    const button = el('button', {type: 'button', class: 'small'}, label);
    button.addEventListener('click', async () => {
        try {
            await navigator.clipboard.writeText(text);
            button.textContent = 'Copied';
        } catch {
            button.textContent = 'Could not copy';
        }
        setTimeout(() => { button.textContent = label; }, 1500);
    });
    return button;
}
