// SPDX-License-Identifier: Apache-2.0
// The gateway: its token, its events, and lines for it.

const STORED = 'token';

/** Takes the token from behind the # of the address, and out of it. */
export function takeToken() {
    const given = /^#([0-9a-f]{32})$/.exec(location.hash);
    if (given) {
        localStorage.setItem(STORED, given[1]);
        history.replaceState(null, '', location.pathname);
    }
    return localStorage.getItem(STORED) ?? '';
}

export class Connection {
    /** `listener` has onEvents([{number, line}]), onLost(count), onRestart() and onState(state, text). */
    constructor(listener) {
        this.listener = listener;
        this.token = takeToken();
        this.last = 0;
        this.abort = null;
    }

    setToken(token) {
        this.token = token;
        localStorage.setItem(STORED, token);
        this.abort?.abort();
    }

    #headers(more = {}) {
        return {Authorization: 'Bearer ' + this.token, ...more};
    }

    /** Reads events for ever; begins again behind the last when the connection is gone. */
    async run() {
        for (let wait = 250;;) {
            try {
                await this.#read(() => { wait = 250; });
                this.listener.onState('off', 'The gateway has ended');
            } catch (error) {
                this.listener.onState(error.state ?? 'off', error.state ? error.message : 'The gateway does not answer');
            }
            await new Promise((resolve) => { setTimeout(resolve, wait); });
            wait = Math.min(wait * 2, 4000);
        }
    }

    async #read(connected) {
        this.abort = new AbortController();
        const answer = await fetch('/events', {headers: this.#headers({'Last-Event-ID': String(this.last)}), signal: this.abort.signal});
        if (answer.status === 401) {
            throw Object.assign(new Error('The gateway needs its token'), {state: 'locked'});
        }
        if (answer.status === 400) { // another gateway, which has not had so many
            this.last = 0;
            this.listener.onRestart();
            return;
        }
        if (!answer.ok) {
            throw Object.assign(new Error((await answer.json()).error), {state: 'off'});
        }
        connected();
        this.listener.onState('on', 'Live');
        const reader = answer.body.pipeThrough(new TextDecoderStream()).getReader();
        let rest = '';
        for (;;) {
            const {value, done} = await reader.read();
            if (done) {
                return;
            }
            const frames = (rest + value).split('\n\n');
            rest = frames.pop();
            this.#take(frames);
        }
    }

    #take(frames) {
        let events = [];
        for (const frame of frames) {
            const event = /^id: (\d+)\ndata: ([^]*)$/.exec(frame);
            const lost = /^event: lost\ndata: \{"dropped":(\d+)/.exec(frame);
            if (event) {
                this.last = Number(event[1]);
                events.push({number: this.last, line: event[2]});
            } else if (lost) {
                this.listener.onEvents(events);
                events = [];
                this.listener.onLost(Number(lost[1]));
            }
        }
        this.listener.onEvents(events);
    }

    async kinds() {
        return (await fetch('/kinds')).json();
    }

    /** Posts lines; what they cause, parsed. Throws an Error that says why they could not be posted. */
    async post(text) {
        let answer;
        try {
            answer = await fetch('/lines', {method: 'POST', body: text, headers: this.#headers()});
        } catch {
            throw new Error('The gateway does not answer');
        }
        const lines = (await answer.text()).split('\n').filter(Boolean).map((line) => JSON.parse(line));
        if (!answer.ok) {
            throw new Error(lines[0]?.error ?? `The gateway says ${answer.status}`);
        }
        return lines;
    }

    /** The recording so far. Throws as post does. */
    async recording() {
        const answer = await fetch('/recording', {headers: this.#headers()});
        if (!answer.ok) {
            throw new Error((await answer.json()).error);
        }
        return answer.blob();
    }
}
