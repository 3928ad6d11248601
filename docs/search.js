// The manual's search. Served by a web server it asks pagefind's index; opened as a file, where a browser lets no page read
// others, or without pagefind, it looks through words.js, the plain text of all pages.
'use strict';
(() => {
    const form = document.getElementById('search');
    const query = document.getElementById('query');
    const found = document.getElementById('found');
    const base = new URL('.', document.currentScript.src);
    const limit = 12;
    form.hidden = false;

    const escaped = (text) => text.replace(/[&<>"]/g, (c) => `&#${c.charCodeAt(0)};`);

    async function servedSearch() {
        const pagefind = await import(new URL('pagefind/pagefind.js', base));
        await pagefind.init();
        return async (text) => {
            const { results } = await pagefind.search(text);
            const pages = await Promise.all(results.slice(0, limit).map((result) => result.data()));
            return pages.map((page) => ({ url: page.url, title: page.meta.title, excerpt: page.excerpt }));
        };
    }

    function plainSearch() {
        return new Promise((resolve, reject) => {
            const script = document.createElement('script');
            script.src = new URL('words.js', base);
            script.onerror = reject;
            script.onload = () => resolve(async (text) => {
                // "porting" also finds "port".
                const words = text.toLowerCase().split(/\s+/).filter(Boolean)
                    .map((word) => word.replace(/(?<=\w{4})(ing|ed|s)$/, ''));
                const hits = [];
                for (const [url, title, body] of window.vosManual) {
                    const [inTitle, inBody] = [title.toLowerCase(), body.toLowerCase()];
                    if (words.every((word) => inTitle.includes(word) || inBody.includes(word))) {
                        const score = words.reduce((sum, word) => sum + (inTitle.includes(word) ? 50 : 0) +
                            Math.min(inBody.split(word).length, 20), 0);
                        const at = Math.max(0, inBody.indexOf(words[0]));
                        const cut = body.slice(Math.max(0, at - 60), at + 120);
                        const mark = new RegExp(words.map((w) => w.replace(/\W/g, '\\$&')).join('|'), 'gi');
                        hits.push({ url: new URL(url, base), title, score,
                            excerpt: escaped(cut).replace(mark, (word) => `<mark>${word}</mark>`) });
                    }
                }
                return hits.sort((a, b) => b.score - a.score).slice(0, limit);
            });
            document.head.append(script);
        });
    }

    let engine;
    const search = async (text) => {
        engine ??= location.protocol === 'file:' ? plainSearch() : servedSearch().catch(plainSearch);
        return (await engine)(text);
    };

    let latest = '';
    async function show() {
        const text = query.value.trim();
        latest = text;
        found.hidden = text === '';
        if (text === '') {
            return;
        }
        let list;
        try {
            const pages = await search(text);
            list = pages.map((page) => `<a href="${page.url}"><b>${escaped(page.title)}</b>${page.excerpt}</a>`).join('') ||
                '<p>Nothing found.</p>';
        } catch {
            list = '<p>The index of this copy is missing.</p>';
        }
        if (text === latest) {
            found.innerHTML = list;
            found.dataset.query = text;
        }
    }
    query.addEventListener('input', show);
    form.addEventListener('submit', (event) => {
        event.preventDefault();
        found.querySelector('a')?.click();
    });
    document.addEventListener('keydown', (event) => {
        if (event.key === '/' && !/INPUT|TEXTAREA/.test(document.activeElement.tagName)) {
            event.preventDefault();
            query.focus();
        } else if (event.key === 'Escape') {
            found.hidden = true;
        }
    });
    document.addEventListener('click', (event) => {
        found.hidden ||= !form.contains(event.target);
    });
    const asked = new URLSearchParams(location.search).get('q');
    if (asked) {
        query.value = asked;
        show();
    }
})();
