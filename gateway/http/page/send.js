// SPDX-License-Identifier: Apache-2.0
// The line editor, with samples to start from, and the buttons of virtual time.
import {el, printable} from './text.js';

/** Where in a line what an error names is: {at, length}; null when that cannot be told. */
export function placeOf(error, line) {
    const column = /^not JSON: .*at line \d+, column (\d+)/.exec(error);
    if (column) {
        return {at: Math.max(0, Number(column[1]) - 1), length: 1};
    }
    const path = /^([A-Za-z_]\w*(?:[.[][\w\]]+)*):/.exec(error)?.[1];
    if (!path) {
        return null;
    }
    let at = -1;
    let length = 0;
    for (const key of path.split(/[.[\]]+/).filter((part) => part && !/^\d+$/.test(part))) {
        const quoted = JSON.stringify(key);
        const found = line.indexOf(quoted, at + 1);
        if (found < 0) {
            break;
        }
        at = found;
        length = quoted.length;
    }
    return at < 0 ? null : {at, length};
}

/** The lines of a text: one JSON value may go over several. */
function linesOf(text) {
    try {
        JSON.parse(text);
        return [text.replace(/[\r\n]+/g, ' ')]; // in JSON a newline stands between two tokens
    } catch {
        return text.split('\n').filter((line) => line.trim() !== '');
    }
}

function localNow() {
    const now = new Date();
    return new Date(now.getTime() - now.getTimezoneOffset() * 60000).toISOString().slice(0, 19);
}

const TIMES = [
    ['Now', () => ({now: localNow()}), 'Set the local time to that of this machine; it stands still from then on'],
    ['+1 min', () => ({advance: '1m'}), 'Move the time by a minute'],
    ['+1 h', () => ({advance: '1h'}), 'Move the time by an hour'],
    ['Next effect', () => ({advance: 'next'}), 'Move the time to when the next action is due'],
];

export function makeSend(root, post, vocabulary) {
    const samples = el('select', {'aria-label': 'Samples to start from'}, el('option', {value: ''}, 'Start from a sample …'));
    for (const line of vocabulary.lines) {
        const group = el('optgroup', {label: line.heading});
        for (const sample of line.samples) {
            group.append(el('option', {value: sample}, sample));
        }
        samples.append(group);
    }
    const text = el('textarea', {id: 'line', rows: 4, spellcheck: 'false', 'aria-label': 'Lines to send', 'aria-describedby': 'send-answer',
        placeholder: '{"show":"hub"}'});
    const about = el('p', {class: 'note'}, 'Ctrl+Enter sends. ');
    const answer = el('pre', {id: 'send-answer', class: 'answer', role: 'status', 'aria-live': 'polite'});
    const place = el('pre', {class: 'place', hidden: true});

    samples.addEventListener('change', () => {
        if (samples.value) {
            text.value = samples.value;
            const line = vocabulary.lines.find((row) => row.samples.includes(samples.value));
            about.textContent = `${line.summary} Ctrl+Enter sends.`;
            text.focus();
        }
    });

    async function send(lines) {
        place.hidden = true;
        answer.textContent = '';
        answer.classList.remove('wrong');
        for (const line of lines) {
            let out;
            try {
                out = await post(line);
            } catch (error) {
                out = [{error: error.message}];
            }
            answer.append(out.map((got) => printable(JSON.stringify(got)) + '\n').join(''));
            const error = out.find((got) => 'error' in got)?.error;
            if (error !== undefined) {
                answer.classList.add('wrong');
                answer.textContent = printable(error);
                showPlace(error, line);
                return;
            }
        }
    }

    function showPlace(error, line) {
        const found = placeOf(error, line);
        if (!found) {
            return;
        }
        const begin = Math.max(0, found.at - 40);
        const shown = printable(line.slice(begin, found.at + found.length + 40));
        const indent = printable(line.slice(begin, found.at)).length;
        place.textContent = shown + '\n' + ' '.repeat(indent) + '^'.repeat(found.length);
        place.hidden = false;
        const start = text.value.indexOf(line);
        if (start >= 0) {
            text.focus();
            text.setSelectionRange(start + found.at, start + found.at + found.length);
        }
    }

    text.addEventListener('keydown', (event) => {
        if (event.key === 'Enter' && (event.ctrlKey || event.metaKey)) {
            event.preventDefault();
            send(linesOf(text.value));
        }
    });
    const times = TIMES.map(([label, line, title]) =>
        el('button', {type: 'button', title, onclick: () => send([JSON.stringify(line())])}, label));
    root.append(
        el('div', {class: 'editor'},
            el('div', {class: 'row-of'}, samples,
                el('button', {type: 'button', class: 'first', id: 'send-now', onclick: () => send(linesOf(text.value))}, 'Send')),
            text, place, about),
        el('div', {class: 'editor'},
            el('h3', {}, 'Virtual time'), el('div', {class: 'row-of', id: 'times'}, ...times),
            el('h3', {}, 'Answer'), answer));
    return {focus: () => text.focus()};
}
