// Searches the texts of the site, which texts.js has: a section each, [link, title, text].
// It needs no server: the page may be read from a disk.
"use strict";

// The words of a query, in small letters.
function wordsOf(query) {
    return query.toLowerCase().split(/\s+/).filter(function (word) { return word !== ""; });
}

// How often a word stands in a text.
function countOf(text, word) {
    return text.split(word).length - 1;
}

// The sections that have all words of a query, those first that have them in their titles, then
// those that have them most often: [{link, title, excerpt}].
function search(sections, query) {
    var words = wordsOf(query);
    var found = [];
    sections.forEach(function (section, at) {
        var title = section[1].toLowerCase();
        var text = section[2].toLowerCase();
        var rank = 0;
        var isMissing = words.some(function (word) {
            var inTitle = countOf(title, word);
            var inText = countOf(text, word);
            rank += 1000 * inTitle + inText;
            return inTitle + inText === 0;
        });
        if (words.length > 0 && !isMissing) {
            found.push({
                link: section[0], title: section[1], excerpt: excerptOf(section[2], words[0]),
                rank: rank, at: at
            });
        }
    });
    return found.sort(function (a, b) { return b.rank - a.rank || a.at - b.at; });
}

// What stands around the first place of a word.
function excerptOf(text, word) {
    var at = Math.max(text.toLowerCase().indexOf(word), 0);
    var from = Math.max(at - 80, 0);
    var to = Math.min(at + 120, text.length);
    return (from > 0 ? "... " : "") + text.slice(from, to) + (to < text.length ? " ..." : "");
}

function show(found) {
    var list = document.getElementById("text-found");
    list.textContent = "";
    found.slice(0, 50).forEach(function (section) {
        var title = list.appendChild(document.createElement("dt"));
        var link = title.appendChild(document.createElement("a"));
        link.href = section.link;
        link.textContent = section.title;
        list.appendChild(document.createElement("dd")).textContent = section.excerpt;
    });
    document.getElementById("text-count").textContent = found.length +
        (found.length === 1 ? " section" : " sections") + (found.length > 50 ? ", 50 of them:" : "");
}

if (typeof document !== "undefined") {
    document.getElementById("text-query").addEventListener("input", function () {
        show(search(texts, this.value));
    });
}
